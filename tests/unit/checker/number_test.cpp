// The numbers of the checker: strict reading, exact values.
#include "tarku/proof/checker/number.h"

#include <gtest/gtest.h>

namespace tarku::checker {
namespace {

std::string fraction(std::string_view text) {
  Number value = 77;
  if (parse_fraction(text, &value)) return to_str(value);
  EXPECT_EQ(to_str(value), "77") << "left as it was";
  return "none";
}

std::string decimal(std::string_view text) {
  Number value = 77;
  if (parse_decimal(text, &value)) return to_str(value);
  EXPECT_EQ(to_str(value), "77") << "left as it was";
  return "none";
}

const std::string huge = "1" + std::string(400, '0');

TEST(CheckerNumber, ReadsFractions) {
  EXPECT_EQ(fraction("0"), "0");
  EXPECT_EQ(fraction("-0"), "0");
  EXPECT_EQ(fraction("12"), "12");
  EXPECT_EQ(fraction("-12"), "-12");
  EXPECT_EQ(fraction("6/4"), "3/2");
  EXPECT_EQ(fraction("-6/4"), "-3/2");
  EXPECT_EQ(fraction("0/5"), "0");
  EXPECT_EQ(fraction("007/014"), "1/2");
  EXPECT_EQ(fraction("9223372036854775808"), "9223372036854775808");
  EXPECT_EQ(fraction("-9223372036854775808/3"), "-9223372036854775808/3");
  EXPECT_EQ(fraction(huge + "/" + huge), "1");
  EXPECT_EQ(fraction("-" + huge), "-" + huge);
}

TEST(CheckerNumber, RefusesEverythingElse) {
  for (const char* text : {"",     "-",  "+1", "--1", "- 1",   " 1",  "1 ", "1.5", "1e3", "1/0", "1/000",
                           "1/-2", "1/", "/2", "/",   "1/2/3", "0x1", "1a", "a",   "-/2", "1,0", "\xb2"}) {
    EXPECT_EQ(fraction(text), "none") << text;
  }
  EXPECT_EQ(fraction(std::string_view("1\0", 2)), "none");
}

TEST(CheckerNumber, ReadsDecimals) {
  EXPECT_EQ(decimal("0"), "0");
  EXPECT_EQ(decimal("007"), "7");
  EXPECT_EQ(decimal("0.125"), "1/8");
  EXPECT_EQ(decimal("12.50"), "25/2");
  EXPECT_EQ(decimal(huge + ".0"), huge);
  for (const char* text : {"", ".", "1.", ".5", "-1", "1.2.3", "1/2", "1e3", "a", "1. 5"}) {
    EXPECT_EQ(decimal(text), "none") << text;
  }
}

TEST(CheckerNumber, EqualNumbersHaveEqualHashes) {
  Number big = 1, half = 1;
  for (int i = 0; i < 100; ++i) big *= 4, half *= 4;
  big /= half;
  EXPECT_EQ(big, Number(1));
  EXPECT_EQ(hash(big), hash(Number(1)));
  EXPECT_NE(hash(Number(1)), hash(Number(-1)));
}

TEST(CheckerNumber, AddsProducts) {
  Number sum = 1;
  add_product(&sum, Number(-3), Number(2));
  EXPECT_EQ(to_str(sum), "-5");
  EXPECT_EQ(sign(sum), -1);
  EXPECT_EQ(sign(Number(0)), 0);
  EXPECT_EQ(sign(Number(5)), 1);
}

}  // namespace
}  // namespace tarku::checker
