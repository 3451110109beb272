// Texts that the program must print or write to the byte.
#ifndef KAVREL_TESTS_SUPPORT_EXPECTED_TEXTS_H
#define KAVREL_TESTS_SUPPORT_EXPECTED_TEXTS_H

#include <string>

namespace kavrel_test {

inline const std::string kUsage =
    "Usage: kavrel [options]\n"
    "  --input-mode roi|frame|auto\n"
    "  --plate-det-model models/rknn/plate_det.rknn\n"
    "  --plate-corner-model models/rknn/plate_corner.rknn\n"
    "  --ppocr-det-model models/rknn/ppocrv6_det.rknn\n"
    "  --ppocr-rec-model models/rknn/ppocrv6_rec.rknn\n"
    "  --dict-region dict/region_words.txt\n"
    "  --ocr-dict dict/ppocrv6_rec_dict.txt\n"
    "  --input-list samples/real_lpr/real_lpr_expected.csv\n"
    "  --output-dir output/v21_product_validation\n";

inline const std::string kFrameSummaryHeader =
    "group_id,image_path,expected,final_plate_number,status,region,class_no,kana,serial,"
    "ocr_texts\n";
inline const std::string kSummaryHeader =
    "group_id,expected,final_plate_number,status,region,class_no,kana,serial,frame_count\n";

}  // namespace kavrel_test

#endif
