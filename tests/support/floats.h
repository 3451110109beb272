// What a float may be beside a number.
#ifndef KAVREL_TESTS_SUPPORT_FLOATS_H
#define KAVREL_TESTS_SUPPORT_FLOATS_H

#include <limits>

namespace kavrel_test {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

}  // namespace kavrel_test

#endif
