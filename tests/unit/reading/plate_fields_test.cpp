#include "reading/plate_fields.h"

#include <gtest/gtest.h>

#include <string>

namespace kavrel {
namespace {

std::string assembled(const std::string& region, const std::string& class_no,
                      const std::string& kana, const std::string& serial) {
  return assemble_plate_number({region, class_no, kana, serial, ""});
}

TEST(AssemblePlateNumber, JoinsTheFieldsByBlanksInPlateOrder) {
  EXPECT_EQ(assembled("品川", "500", "あ", "12-34"), "品川 500 あ 12-34");
}

TEST(AssemblePlateNumber, HasNoBlanksAtItsEnds) {
  EXPECT_EQ(assembled("", "", "あ", ""), "あ");
  EXPECT_EQ(assembled("", "500", "あ", ""), "500 あ");
  EXPECT_EQ(assembled("品川", "", "", ""), "品川");
  EXPECT_EQ(assembled("", "", "", "12-34"), "12-34");
}

TEST(AssemblePlateNumber, KeepsTheBlanksOfAFieldMissingInside) {
  EXPECT_EQ(assembled("品川", "", "あ", "12-34"), "品川  あ 12-34");
  EXPECT_EQ(assembled("品川", "500", "", "12-34"), "品川 500  12-34");
  EXPECT_EQ(assembled("品川", "", "", "12-34"), "品川   12-34");
}

TEST(AssemblePlateNumber, IsEmptyWithoutFields) { EXPECT_EQ(assembled("", "", "", ""), ""); }

TEST(AssemblePlateNumber, DoesNotLookAtTheNumberBefore) {
  EXPECT_EQ(assemble_plate_number({"品川", "", "", "", "横浜 300"}), "品川");
}

}  // namespace
}  // namespace kavrel
