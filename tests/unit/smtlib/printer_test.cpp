// The printer and the values of literals.
#include "tarku/smtlib/printer.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tarku/smtlib/literal.h"

namespace tarku::smtlib {
namespace {

std::string real(const QNumber& value) {
  std::ostringstream out;
  print_real(out, value);
  return out.str();
}

std::string symbol(std::string_view name) {
  std::ostringstream out;
  print_symbol(out, name);
  return out.str();
}

TEST(Printer, WritesRealsInLowestTerms) {
  EXPECT_EQ(real(0), "0.0");
  EXPECT_EQ(real(3), "3.0");
  EXPECT_EQ(real(-3), "(- 3.0)");
  EXPECT_EQ(real(QNumber(2, 6)), "(/ 1.0 3.0)");
  EXPECT_EQ(real(QNumber(-1, 3)), "(- (/ 1.0 3.0))");
}

std::string real(const char* value, std::string_view format) {
  QNumber number;
  EXPECT_TRUE(QNumber::parse(value, &number));
  std::ostringstream out;
  print_real(out, number, parse_real_format(format).value());
  return out.str();
}

TEST(Printer, WritesFractions) {
  EXPECT_EQ(real("0", "fraction"), "0");
  EXPECT_EQ(real("-6/4", "fraction"), "-3/2");
  EXPECT_EQ(real("-6/4", "smtlib"), "(- (/ 3.0 2.0))");
}

TEST(Printer, CutsDecimals) {
  EXPECT_EQ(real("0", "decimal:3"), "0.0");
  EXPECT_EQ(real("-7", "decimal:3"), "-7.0");
  EXPECT_EQ(real("1/2", "decimal:3"), "0.5");
  EXPECT_EQ(real("1/8", "decimal:3"), "0.125");
  EXPECT_EQ(real("1/16", "decimal:3"), "0.062?");
  EXPECT_EQ(real("-1/3", "decimal:1"), "-0.3?");
  EXPECT_EQ(real("-1/3000", "decimal:3"), "-0.000?");
  EXPECT_EQ(real("199999/100000", "decimal:4"), "1.9999?");
  EXPECT_EQ(real("100/7", "decimal:6"), "14.285714?");
  EXPECT_EQ(real("1/3", "decimal:40"), "0." + std::string(40, '3') + "?");
  EXPECT_EQ(real("123456789012345678901234567890123/10", "decimal:2"), "12345678901234567890123456789012.3");
}

TEST(Printer, KnowsThreeFormats) {
  EXPECT_EQ(parse_real_format("decimal:9999")->digits, 9999u);
  for (const char* text : {"", "SMTLIB", "decimal", "decimal:", "decimal:0", "decimal:000", "decimal:-1",
                           "decimal:10000", "decimal:1x", "fraction:3"}) {
    EXPECT_FALSE(parse_real_format(text).has_value()) << text;
  }
}

TEST(Printer, WritesLongNumbers) {
  QNumber big;
  ASSERT_TRUE(QNumber::parse("-123456789012345678901234567891/7", &big));
  EXPECT_EQ(real(big), "(- (/ 123456789012345678901234567891.0 7.0))");
  ASSERT_TRUE(QNumber::parse("123456789012345678901234567890", &big));
  EXPECT_EQ(real(big), "123456789012345678901234567890.0");
}

TEST(Printer, QuotesSymbolsWhereNeeded) {
  EXPECT_EQ(symbol("x1"), "x1");
  EXPECT_EQ(symbol("~!@$%^&*_-+=<>.?/"), "~!@$%^&*_-+=<>.?/");
  EXPECT_EQ(symbol(""), "||");
  EXPECT_EQ(symbol("1x"), "|1x|");
  EXPECT_EQ(symbol("a b"), "|a b|");
  EXPECT_EQ(symbol("a;b"), "|a;b|");
  EXPECT_EQ(symbol("\xc3\xa4"), "|\xc3\xa4|");
  for (const char* word : {"let", "_", "!", "as", "assert", "check-sat", "NUMERAL", "par"}) {
    EXPECT_EQ(symbol(word), "|" + std::string(word) + "|");
  }
}

TEST(Printer, DoublesQuotesInStrings) {
  std::ostringstream out;
  print_string(out, "a \"b\" c");
  EXPECT_EQ(out.str(), "\"a \"\"b\"\" c\"");
}

TEST(Literal, NumbersAreExactAtAnyLength) {
  EXPECT_EQ(number_value("0"), QNumber(0));
  EXPECT_EQ(number_value("007"), QNumber(7));
  EXPECT_EQ(number_value("0.125"), QNumber(1, 8));
  EXPECT_EQ(number_value("12.50"), QNumber(25, 2));
  EXPECT_EQ(number_value("999999999999999999").to_str(), "999999999999999999");    // 18 digits: words
  EXPECT_EQ(number_value("9999999999999999999").to_str(), "9999999999999999999");  // beyond 64 bits
  EXPECT_EQ(number_value("0.0000000000000001").to_str(), "1/10000000000000000");
  EXPECT_EQ(number_value("0.00000000000000000001").to_str(), "1/100000000000000000000");
  EXPECT_EQ(number_value("123456789.12345678901234567890").to_str(),
            "1234567891234567890123456789/10000000000000000000");
}

TEST(Literal, StringsLoseTheirDoubling) {
  EXPECT_EQ(string_value("a\"\"b"), "a\"b");
  EXPECT_EQ(string_value("\"\"\"\""), "\"\"");
  EXPECT_EQ(string_value(""), "");
}

}  // namespace
}  // namespace tarku::smtlib
