// The text form of every step.
#include "tarku/proof/certificate.h"

#include <gtest/gtest.h>

#include <sstream>

namespace tarku::proof {
namespace {

TEST(CertificateWriter, WritesOneLineForEachStep) {
  std::ostringstream out;
  CertificateWriter writer(out);
  writer.begin(3);
  writer.real(2, "x");
  writer.boolean(9, "p");
  writer.atom(1, {{2, QNumber(-1, 2)}, {5, QNumber(3)}}, Relation::less_equal, QNumber(7, 3));
  writer.atom(2, {}, Relation::greater, QNumber(0));
  writer.input(1, 0, {1, -2});
  writer.input(2, 12, {});
  writer.farkas(3, {-1, 2}, {QNumber(1), QNumber(2, 5)});
  writer.split(4, {1, 2, -9});
  writer.rup(5, {}, {1, 2, 4});
  writer.qed(5);
  EXPECT_EQ(out.str(),
            "tarku-certificate 1\ncheck 3\nreal 2 x\nbool 9 p\natom 1 -1/2*2 3*5 <= 7/3\natom 2 > 0\n"
            "input 1 0 1 -2 0\ninput 2 12 0\nfarkas 3 -1 2 0 1 2/5\nsplit 4 1 2 -9 0\nrup 5 0 1 2 4\nqed 5\n");
}

TEST(CertificateWriter, WritesSymbolsAsScriptsDo) {
  const std::pair<const char*, const char*> cases[] = {{"x", "x"},
                                                       {"x.1!~@$%^&*_-+=<>?/", "x.1!~@$%^&*_-+=<>?/"},
                                                       {"1x", "|1x|"},
                                                       {"a b", "|a b|"},
                                                       {"", "||"},
                                                       {"a;b", "|a;b|"},
                                                       {"\xc3\xa4", "|\xc3\xa4|"},
                                                       {"two\nlines", "|two\nlines|"}};
  for (const auto& [name, text] : cases) {
    std::ostringstream out;
    CertificateWriter(out).real(1, name);
    EXPECT_EQ(out.str(), std::string("real 1 ") + text + "\n");
  }
}

TEST(CertificateWriter, NamesAllRelations) {
  EXPECT_EQ(to_str(Relation::less), "<");
  EXPECT_EQ(to_str(Relation::less_equal), "<=");
  EXPECT_EQ(to_str(Relation::equal), "=");
  EXPECT_EQ(to_str(Relation::distinct), "distinct");
  EXPECT_EQ(to_str(Relation::greater_equal), ">=");
  EXPECT_EQ(to_str(Relation::greater), ">");
}

}  // namespace
}  // namespace tarku::proof
