// The text of certificates: lexical rules, places in messages, ends of texts.
#include "tarku/proof/checker/reader.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/unit/checker/check_text.h"

namespace tarku::checker {
namespace {

using test::check;
using test::refusal;
using test::refused_step;

const std::string valid =
    "tarku-certificate 1\n"
    "check 1\n"
    "real 1 x\n"
    "atom 1 1*1 <= 1\n"
    "atom 2 1*1 > 1\n"
    "input 1 0 1 0\n"
    "input 2 1 2 0\n"
    "farkas 3 -1 -2 0 1 1\n"
    "rup 4 0 1 2 3\n"
    "qed 4\n";

const std::string script = "(declare-const x Real)(assert (<= x 1))(assert (> x 1))(check-sat)";

std::string replaced(std::string text, const std::string& what, const std::string& by) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
    text.replace(at, what.size(), by);
  }
  return text;
}

TEST(CertificateText, IsAcceptedWithAndWithoutAScript) {
  EXPECT_EQ(refusal(valid), "");
  EXPECT_EQ(refusal(valid, script), "");
  EXPECT_EQ(check(valid).certified.size(), 1u);
}

TEST(CertificateText, BlanksCommentsAndLineEndsAreFree) {
  EXPECT_EQ(refusal(replaced(valid, "\n", "\r\n")), "");
  EXPECT_EQ(refusal(replaced(valid, " ", " \t  ")), "");
  EXPECT_EQ(refusal(replaced(valid, "\n", " \t\n\n")), "");
  EXPECT_EQ(refusal(replaced(valid, "\n", "\n \t; qed 1\n;\n \n\r\n")), "");
  EXPECT_EQ(refusal("; first\n\n" + valid + "; last\n\n"), "");
}

TEST(CertificateText, LinesAreEnded) {
  EXPECT_EQ(refusal(valid.substr(0, valid.size() - 1)), "c:10: qed 4: the line is not ended");
  EXPECT_EQ(refusal(valid + "; comment"), "c:11: ; comment: the line is not ended");
  EXPECT_EQ(refusal(valid + " "), "c:11: empty line: the line is not ended");
  EXPECT_EQ(refusal("tarku-certificate 1"), "c:1: tarku-certificate 1: the line is not ended");
  EXPECT_EQ(refusal(replaced(valid, "\n", "\r")), "c:1: tarku-certificate 1?check: the line is not ended");
}

// No beginning of a certificate is one.
TEST(CertificateText, EveryTruncationIsRefused) {
  for (std::size_t size = 0; size < valid.size(); ++size) {
    EXPECT_NE(refusal(valid.substr(0, size)), "") << size;
    if (size + 1 < valid.size()) {
      EXPECT_NE(refusal(valid.substr(0, size) + "\n"), "") << size;
    }
  }
}

TEST(CertificateText, EveryLineCounts) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < valid.size();) {
    const std::size_t end = valid.find('\n', at) + 1;
    lines.push_back(valid.substr(at, end - at));
    at = end;
  }
  for (std::size_t i = 0; i < lines.size(); ++i) {
    std::string without, twice;
    for (std::size_t j = 0; j < lines.size(); ++j) {
      without += i == j ? "" : lines[j];
      twice += i == j ? lines[j] + lines[j] : lines[j];
    }
    EXPECT_NE(refusal(without), "") << lines[i];
    const std::string place = "c:" + std::to_string(i + 2) + ": ";
    EXPECT_EQ(refusal(twice).substr(0, place.size()), place) << lines[i];
  }
}

TEST(CertificateText, EndsOfTexts) {
  EXPECT_EQ(refusal(""), "c:1: end of text: there is no certificate");
  EXPECT_EQ(refusal("\n; nothing\n"), "c:2: end of text: there is no certificate");
  EXPECT_EQ(refusal("tarku-certificate 1\n"), "c:1: end of text: the certificate has no 'qed'");
  EXPECT_EQ(refusal(replaced(valid, "qed 4\n", "")), "c:9: end of text: the certificate has no 'qed'");
}

TEST(CertificateText, Headers) {
  EXPECT_EQ(refusal("check 1\n"), "c:1: check 1: a certificate begins with the line 'tarku-certificate 1'");
  EXPECT_EQ(refusal("tarku-certificate\n"), "c:1: tarku-certificate: the version is missing");
  EXPECT_EQ(refusal("tarku-certificate 2\n"), "c:1: tarku-certificate 2: version '2' of the format is not known");
  EXPECT_EQ(refusal("tarku-certificate 01\n"), "c:1: tarku-certificate 01: version '01' of the format is not known");
  EXPECT_EQ(refusal("tarku-certificate 1 1\n"), "c:1: tarku-certificate 1: '1' is not expected here");
  EXPECT_EQ(refused_step("tarku-certificate 1"), "tarku-certificate 1: there is no such step");
}

TEST(CertificateText, CertificatesMayFollowEachOtherAndShareNothing) {
  const auto outcome = check(valid + "\n" + replaced(valid, "check 1", "check 2"));
  EXPECT_EQ(outcome.refusal, "");
  ASSERT_EQ(outcome.certified.size(), 2u);
  EXPECT_EQ(outcome.certified[0].check, 1u);
  EXPECT_EQ(outcome.certified[1].check, 2u);
  EXPECT_EQ(refusal(valid + "qed 4\n"), "c:11: qed 4: a certificate begins with the line 'tarku-certificate 1'");
  EXPECT_EQ(refusal(valid + "tarku-certificate 1\ncheck 1\nqed 4\n"), "c:13: qed 4: there is no clause 4");
  EXPECT_EQ(refusal(valid + "tarku-certificate 1\ncheck 1\natom 1 1*1 < 0\n"),
            "c:13: atom 1: Real variable 1 is not declared");
  EXPECT_EQ(check(valid + "x\n").certified.size(), 1u);
}

TEST(CertificateText, WordsAreMissing) {
  EXPECT_EQ(refused_step("check"), "check: the number of a check is missing");
  EXPECT_EQ(refused_step("real"), "real: a variable is missing");
  EXPECT_EQ(refused_step("real 1"), "real 1: a symbol is missing");
  EXPECT_EQ(refused_step("real 1 \t"), "real 1: a symbol is missing");
  EXPECT_EQ(refused_step("atom 1"), "atom 1: a relation is missing");
  EXPECT_EQ(refused_step("real 1 x\natom 1 2*1"), "atom 1: a relation is missing");
  EXPECT_EQ(refused_step("atom 1 <="), "atom 1: a number is missing");
  EXPECT_EQ(refused_step("input"), "input: the id of a clause is missing");
  EXPECT_EQ(refused_step("input 1"), "input 1: the number of an assertion is missing");
  EXPECT_EQ(refused_step("input 1 0"), "input 1: the final 0 of the literals is missing");
  EXPECT_EQ(refused_step("farkas 1 1"), "farkas 1: the final 0 of the literals is missing");
  EXPECT_EQ(refused_step("qed"), "qed: the id of a clause is missing");
  EXPECT_EQ(refused_step("and"), "and: a variable is missing");
  EXPECT_EQ(refused_step("and 1"), "and 1: the final 0 of the literals is missing");
  EXPECT_EQ(refused_step("iff 1 2"), "iff 1: a literal is missing");
  EXPECT_EQ(refused_step("ite 1 2 3"), "ite 1: a literal is missing");
  EXPECT_EQ(refused_step("real-ite 1"), "real-ite 1: a literal is missing");
  EXPECT_EQ(refused_step("real-ite 1 2"), "real-ite 1: ':' is missing");
  EXPECT_EQ(refused_step("real-ite 1 2 :"), "real-ite 1: a number is missing");
  EXPECT_EQ(refused_step("real-ite 1 2 : 1*1"), "real-ite 1: a number is missing");
  EXPECT_EQ(refused_step("real-ite 1 2 : 1*1 0"), "real-ite 1: ':' is missing");
  EXPECT_EQ(refused_step("real-ite 1 2 : 0 :"), "real-ite 1: a number is missing");
  EXPECT_EQ(refused_step("gate 1"), "gate 1: a variable is missing");
  EXPECT_EQ(refused_step("gate 1 2"), "gate 1: the final 0 of the literals is missing");
  EXPECT_EQ(refused_step("branch"), "branch: the id of a clause is missing");
  EXPECT_EQ(refused_step("branch 1"), "branch 1: a variable is missing");
  EXPECT_EQ(refused_step("branch 1 2"), "branch 1: the final 0 of the literals is missing");
}

TEST(CertificateText, WordsAreTooMany) {
  EXPECT_EQ(refusal("tarku-certificate 1\ncheck 1 2\n"), "c:2: check 1: '2' is not expected here");
  EXPECT_EQ(refused_step("real 1 x y"), "real 1: 'y' is not expected here");
  EXPECT_EQ(refused_step("real 1 |x y|z"), "real 1: 'z' is not expected here");
  EXPECT_EQ(refused_step("atom 1 < 0 1"), "atom 1: '1' is not expected here");
  EXPECT_EQ(refused_step("input 1 0 0 ;comment"), "input 1: ';comment' is not expected here");
  EXPECT_EQ(refused_step("split 1 0 0"), "split 1: '0' is not expected here");
  EXPECT_EQ(refused_step("input 1 0 0\nqed 1 1"), "qed 1: '1' is not expected here");
  EXPECT_EQ(refused_step("and 1 0 0"), "and 1: '0' is not expected here");
  EXPECT_EQ(refused_step("bool 1 p\niff 2 1 1 0"), "iff 2: '0' is not expected here");
  EXPECT_EQ(refused_step("bool 1 p\nite 2 1 1 1 1"), "ite 2: '1' is not expected here");
  EXPECT_EQ(refused_step("bool 1 p\nreal-ite 2 1 : 0 : 0 :"), "real-ite 2: ':' is not expected here");
  EXPECT_EQ(refused_step("bool 1 p\nreal-ite 2 1 : 0 : 0 1*1 0"), "real-ite 2: '1*1' is not expected here");
  EXPECT_EQ(refused_step("and 1 0\ngate 1 1 1 0 0"), "gate 1: '0' is not expected here");
  EXPECT_EQ(refused_step("branch 1 1 0 1"), "branch 1: '1' is not expected here");
}

TEST(CertificateText, WordsAreMalformed) {
  for (const char* word : {"-1", "+1", "1.0", "a", "0x1", "1;", "18446744073709551616", "99999999999999999999999"}) {
    EXPECT_EQ(refusal("tarku-certificate 1\ncheck " + std::string(word) + "\n"),
              "c:2: check " + std::string(word) + ": '" + word + "' is not the number of a check");
    EXPECT_NE(refused_step("delete " + std::string(word)).find("is not the id of a clause"), std::string::npos);
    EXPECT_NE(refused_step("real " + std::string(word) + " x").find("is not a variable"), std::string::npos);
  }
  for (const char* word : {"00", "-0", "--1", "-", "+1", "1-", "1073741825", "-1073741825", "9999999999999999999999"}) {
    EXPECT_EQ(refused_step("input 1 0 " + std::string(word) + " 0"),
              "input 1: '" + std::string(word) + "' is not a literal");
  }
  for (const char* word : {"1/0", "1.5", "-", "1/", "1/-1", "1e5", "+1", "1/2/3"}) {
    EXPECT_EQ(refused_step("atom 1 < " + std::string(word)), "atom 1: '" + std::string(word) + "' is no number");
    EXPECT_EQ(refused_step("real 1 x\natom 1 " + std::string(word) + "*1 < 0"),
              "atom 1: '" + std::string(word) + "' is no number");
    EXPECT_EQ(refused_step("farkas 1 0 " + std::string(word)), "farkas 1: '" + std::string(word) + "' is no number");
  }
  for (const char* word : {"==", "=<", "=>", "<>", "1", "x", "<=1"}) {
    EXPECT_EQ(refused_step("atom 1 " + std::string(word) + " 0"),
              "atom 1: '" + std::string(word) + "' is neither a term nor a relation");
  }
  EXPECT_EQ(refused_step("real 1 x\natom 1 1* < 0"), "atom 1: '' is not a variable");
  EXPECT_EQ(refused_step("real 1 x\natom 1 *1 < 0"), "atom 1: '' is no number");
  EXPECT_EQ(refused_step("real 1 x\natom 1 1*-1 < 0"), "atom 1: '-1' is not a variable");
  EXPECT_EQ(refused_step("real 1 x\natom 1 1*1*1 < 0"), "atom 1: '1*1' is not a variable");
  EXPECT_EQ(refused_step("iff 1 x 2"), "iff 1: 'x' is not a literal");
  EXPECT_EQ(refused_step("ite 1 2 0 3"), "ite 1: '0' is not a literal");
  EXPECT_EQ(refused_step("gate 1 -2 0"), "gate 1: '-2' is not a variable");
  EXPECT_EQ(refused_step("branch 1 0 0"), "branch 1: '0' is not a variable");
  EXPECT_EQ(refused_step("real-ite 1 2 0 : 0"), "real-ite 1: '0' is not ':'");
  EXPECT_EQ(refused_step("real-ite 1 2 :0 : 0"), "real-ite 1: ':0' is not ':'");
  EXPECT_EQ(refused_step("real-ite 1 2 : 1/0 : 0"), "real-ite 1: '1/0' is neither a term nor a number");
  EXPECT_EQ(refused_step("real-ite 1 2 : 1* 0 : 0"), "real-ite 1: '' is not a variable");
  EXPECT_EQ(refused_step("real-ite 1 2 : 0 0 : 0"), "real-ite 1: '0' is not ':'");
  EXPECT_EQ(refused_step("Real 1 x"), "Real 1: there is no such step");
  EXPECT_EQ(refused_step("lemma 1 0"), "lemma 1: there is no such step");
}

TEST(CertificateText, Symbols) {
  const std::string wide = "tarku-certificate 1\ncheck 1\nbool 1 ";
  const std::string rest = "\ninput 1 0 1 0\ninput 2 1 -1 0\nrup 3 0 1 2\nqed 3\n";
  const auto with = [&](const std::string& in_certificate, const std::string& in_script) {
    return refusal(wide + in_certificate + rest, "(declare-const " + in_script + " Bool)(assert " + in_script +
                                                     ")(assert (not " + in_script + "))(check-sat)");
  };
  EXPECT_EQ(with("x", "|x|"), "");
  EXPECT_EQ(with("|x|", "x"), "");
  EXPECT_EQ(with("|a ; symbol ( \t 0|", "|a ; symbol ( \t 0|"), "");
  EXPECT_EQ(with("||", "||"), "");
  EXPECT_EQ(with("|two\n; lines\nqed|", "|two\n; lines\nqed|"), "");
  EXPECT_EQ(with("|cr\r\nlf|", "|cr\r\nlf|"), "");
  EXPECT_NE(with("|cr\nlf|", "|cr\r\nlf|"), "");
  EXPECT_EQ(with("|x|\r", "x"), "");
  EXPECT_EQ(with("~!@$%^&*_-+=<>.?/9", "~!@$%^&*_-+=<>.?/9"), "");
  EXPECT_EQ(with("|gr\xc3\xbc\xc3\x9f"
                 "e|",
                 "|gr\xc3\xbc\xc3\x9f"
                 "e|"),
            "");
  EXPECT_NE(with("y", "x"), "");
  EXPECT_EQ(refused_step("bool 1 1x"), "bool 1: '1x' is not a symbol");
  EXPECT_EQ(refused_step("bool 1 (x)"), "bool 1: '(x)' is not a symbol");
  EXPECT_EQ(refused_step("bool 1 a|b|"), "bool 1: 'a|b|' is not a symbol");
  EXPECT_EQ(refused_step("bool 1 |a\\b|"), "bool 1: a character that no symbol may hold");
  EXPECT_EQ(refused_step("bool 1 |a\x01|"), "bool 1: a character that no symbol may hold");
  EXPECT_EQ(refusal("tarku-certificate 1\nbool 1 |a\nb\n"), "c:3: bool 1: the symbol has no closing '|'");
  EXPECT_EQ(refusal("tarku-certificate 1\nbool 1 |a\nb|"), "c:3: bool 1: the line is not ended");
}

// Messages are short and printable whatever the text holds.
TEST(CertificateText, JunkIsShownSafely) {
  EXPECT_EQ(refusal(std::string("\0\x1b[31m\xff 1\n", 10)),
            "c:1: ??[31m? 1: a certificate begins with the line "
            "'tarku-certificate 1'");
  EXPECT_LT(refusal(std::string(100000, 'a') + " " + std::string(100000, 'b') + "\n").size(), 200u);
}

TEST(CertificateText, RandomBytesAreRefused) {
  std::mt19937 random(3);
  for (int round = 0; round < 2000; ++round) {
    std::string text(random() % 60, '\0');
    for (char& c : text) c = static_cast<char>(random());
    EXPECT_NE(refusal(text), "");
    EXPECT_NE(refusal("tarku-certificate 1\n" + text + "\n"), "");
  }
}

TEST(CertificateText, LongLinesAndManyStepsAreFine) {
  std::string text = "tarku-certificate 1\ncheck 0\nreal 1 x\natom 1 1*1 < 0\natom 2 1*1 >= 0\n";
  std::string literals, multipliers;
  for (int i = 0; i < 20000; ++i) {
    text += "farkas " + std::to_string(i + 1) + " -1 -2 0 1 1\n";
    literals += " -1 -2";
    multipliers += " 1/3 2/6";
  }
  text += "farkas 20001" + literals + " 0" + multipliers + "\ninput 20002 0 1 0\ninput 20003 0 2 0\n";
  text += "rup 20004 0 20002 20003 20001\nqed 20004\n";
  const auto outcome = check(text);
  EXPECT_EQ(outcome.refusal, "");
  EXPECT_EQ(outcome.certified.at(0).combinations, 20001u);
}

// A stream that fails is no fault of the text.
TEST(CertificateText, FailingStreamsAreUnreadable) {
  struct Failing : std::streambuf {
    int_type underflow() override { throw std::ios_base::failure("disk"); }
  } buffer;
  std::istream in(&buffer);
  Reader reader(in, "c");
  Certified certified;
  EXPECT_THROW(reader.next(&certified), Unreadable);
  EXPECT_THROW(Script(in, "s"), Unreadable);
}

}  // namespace
}  // namespace tarku::checker
