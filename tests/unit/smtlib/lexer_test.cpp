// The lexer: every kind of token, every malformed one, places, and buffers that end anywhere.
#include "tarku/smtlib/lexer.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/unit/smtlib/run_script.h"

namespace tarku::smtlib {
namespace {

const char* letter(TokenKind kind) {
  switch (kind) {
    case TokenKind::left:
      return "(";
    case TokenKind::right:
      return ")";
    case TokenKind::symbol:
      return "sym";
    case TokenKind::quoted_symbol:
      return "quo";
    case TokenKind::keyword:
      return "key";
    case TokenKind::numeral:
      return "num";
    case TokenKind::decimal:
      return "dec";
    case TokenKind::hexadecimal:
      return "hex";
    case TokenKind::binary:
      return "bin";
    case TokenKind::string:
      return "str";
    case TokenKind::braced:
      return "bra";
    default:
      return "end";
  }
}

// One line per token: "kind text @line:column", malformed ones as "! message @line:column".
std::string tokens(Lexer& lexer) {
  std::ostringstream lines;
  for (;;) {
    try {
      const Token& token = lexer.next();
      if (token.kind == TokenKind::end) return lines.str();
      lines << letter(token.kind) << ' ' << token.text << " @" << token.at.line << ':' << token.at.column << '\n';
    } catch (const InputError& error) {
      lines << "! " << error.message() << " @" << error.at().line << ':' << error.at().column << '\n';
    }
  }
}

std::string tokens(const std::string& text) {
  Lexer lexer(Source::of_text(text));
  return tokens(lexer);
}

TEST(Lexer, KnowsEveryKindOfToken) {
  EXPECT_EQ(tokens("(a |b c| :key 12 0.50 #xAf09 #b01 \"s\" )"),
            "( ( @1:1\nsym a @1:2\nquo b c @1:4\nkey :key @1:10\nnum 12 @1:15\ndec 0.50 @1:18\nhex #xAf09 @1:23\n"
            "bin #b01 @1:30\nstr s @1:35\n) ) @1:39\n");
}

TEST(Lexer, SymbolsMayHoldAnyOfTheirCharacters) {
  EXPECT_EQ(tokens("~!@$%^&*_-+=<>.?/a1Z"), "sym ~!@$%^&*_-+=<>.?/a1Z @1:1\n");
  EXPECT_EQ(tokens("-5 - <= _ ! .x"), "sym -5 @1:1\nsym - @1:4\nsym <= @1:6\nsym _ @1:9\nsym ! @1:11\nsym .x @1:13\n");
}

TEST(Lexer, QuotedSymbolsKeepEverything) {
  EXPECT_EQ(tokens("|| |a\n(;\"b| x"), "quo  @1:1\nquo a\n(;\"b @1:4\nsym x @2:7\n");
  EXPECT_EQ(tokens("|\xc3\xa4|"), "quo \xc3\xa4 @1:1\n");
}

TEST(Lexer, StringsDoubleTheirQuotes) {
  EXPECT_EQ(tokens(R"("" """" "a""b" "x" "y")"),
            "str  @1:1\nstr \"\" @1:4\nstr a\"\"b @1:9\nstr x @1:16\nstr y @1:20\n");
  EXPECT_EQ(tokens("\"line\nbreak\\\" z"), "str line\nbreak\\ @1:1\nsym z @2:9\n");
}

TEST(Lexer, CommentsEndWithTheirLine) {
  EXPECT_EQ(tokens("; (\n a;b\r\nc ; | \" \n;"), "sym a @2:2\nsym c @3:1\n");
  EXPECT_EQ(tokens("; no line end"), "");
}

TEST(Lexer, NumbersWithLeadingZerosAreAccepted) {
  EXPECT_EQ(tokens("0 007 00.10"), "num 0 @1:1\nnum 007 @1:3\ndec 00.10 @1:7\n");
}

TEST(Lexer, RefusesMalformedText) {
  EXPECT_EQ(tokens("1. x"), "! malformed number '1.' @1:1\nsym x @1:4\n");
  EXPECT_EQ(tokens("1.2.3"), "! malformed number '1.2.3' @1:1\n");
  EXPECT_EQ(tokens("12ab)"), "! malformed number '12ab' @1:1\n) ) @1:5\n");
  EXPECT_EQ(tokens("#x #b2 #q #"),
            "! malformed literal '#x' @1:1\n! malformed literal '#b2' @1:4\n"
            "! malformed literal '#q' @1:8\n! malformed literal '#' @1:11\n");
  EXPECT_EQ(tokens(": a"), "! ':' is not followed by a word @1:1\nsym a @1:3\n");
  EXPECT_EQ(tokens("a{b"), "sym a @1:1\n! illegal character '{' @1:2\nsym b @1:3\n");
  EXPECT_EQ(tokens("\x01 \xff"), "! illegal character 0x01 @1:1\n! illegal character 0xff @1:3\n");
  EXPECT_EQ(tokens("|a\\b| c"), "! '\\' is not allowed in a quoted symbol @1:1\nsym c @1:7\n");
  EXPECT_EQ(tokens("|a\x02| \"\x7f\" c"),
            "! illegal character in a quoted symbol @1:1\n! illegal character in a string @1:6\nsym c @1:10\n");
}

TEST(Lexer, ReportsWhatNeverEndsOnce) {
  EXPECT_EQ(tokens("(a \"b c)"), "( ( @1:1\nsym a @1:2\n! unterminated string @1:4\n");
  EXPECT_EQ(tokens("(a\n |b c)"), "( ( @1:1\nsym a @1:2\n! unterminated quoted symbol @2:2\n");
}

TEST(Lexer, CountsOpenParentheses) {
  Lexer lexer(Source::of_text("(())) ("));
  std::vector<std::size_t> depths;
  while (lexer.next().kind != TokenKind::end) depths.push_back(lexer.depth());
  EXPECT_EQ(depths, (std::vector<std::size_t>{1, 2, 1, 0, 0, 1}));
}

TEST(Lexer, GivesTheSameTokensHoweverTheTextIsCut) {
  const std::string text = "(assert ; c\n (<= |q s| 12.75\n #x1F \"a\"\"b\" :k-w -x))\n 1.x |never";
  const std::string expected = tokens(text);
  EXPECT_NE(expected.find("malformed number '1.x' @4:2"), std::string::npos);
  for (std::size_t piece = 1; piece <= 9; ++piece) {
    for (std::size_t buffer = 1; buffer <= 40; buffer += 3) {
      Lexer lexer(in_pieces(text, piece), buffer);
      EXPECT_EQ(tokens(lexer), expected) << "pieces of " << piece << ", buffer of " << buffer;
    }
  }
}

TEST(Lexer, NullCharactersAreIllegalLikeOthers) {
  const std::string null(1, '\0');
  EXPECT_EQ(tokens("a" + null + "b ;" + null + "\n" + null + null),
            "sym a @1:1\n! illegal character 0x00 @1:2\nsym b @1:3\n! illegal character 0x00 @2:1\n"
            "! illegal character 0x00 @2:2\n");
}

TEST(Lexer, TokensMayBeLongerThanTheBuffer) {
  const std::string word(100000, 'a');
  Lexer lexer(in_pieces(word + " |" + word + "|", 1000), 16);
  EXPECT_EQ(lexer.next().text, word);
  EXPECT_EQ(lexer.next().text, word);
  EXPECT_EQ(lexer.token().at.column, 100002u);
}

std::string tokens_of_benchmark(const std::string& text, std::size_t piece = 1000) {
  Lexer lexer(in_pieces(text, piece), 4);
  lexer.set_dialect(Dialect::benchmark);
  return tokens(lexer);
}

TEST(Lexer, BenchmarksHaveBracesAndPrimes) {
  const std::string text = "?x' {} {a \"(|;\n\\{ \\} } :k'{b}$f";
  const std::string wanted =
      "sym ?x' @1:1\nbra  @1:5\nbra a \"(|;\n\\{ \\}  @1:8\nkey :k' @2:9\nbra b @2:12\nsym $f @2:15\n";
  EXPECT_EQ(tokens_of_benchmark(text), wanted);
  EXPECT_EQ(tokens_of_benchmark(text, 1), wanted);
  EXPECT_EQ(tokens_of_benchmark("{never ended"), "! unterminated text in braces @1:1\n");
  EXPECT_EQ(tokens_of_benchmark("1'"), "! malformed number '1'' @1:1\n");
  EXPECT_EQ(tokens("{x} y'"),
            "! illegal character '{' @1:1\nsym x @1:2\n! illegal character '}' @1:3\nsym y @1:5\n"
            "! illegal character ''' @1:6\n");
}

TEST(Lexer, DoesNotLookBehindAClosingParenthesis) {
  std::size_t handed_out = 0;
  const std::string text = "(exit)(never read)";
  Lexer lexer(Source([&](char* to, std::size_t) { return *to = text[handed_out++], std::size_t{1}; }));
  while (lexer.next().kind != TokenKind::right) {
  }
  EXPECT_EQ(handed_out, std::string("(exit)").size());
}

TEST(Lexer, RecordsTokensWithSingleBlanks) {
  std::string text;
  Lexer lexer(Source::of_text("skip ( +  x ; c\n|a b|\n( f \"s\"\"t\" ) ) rest"));
  lexer.next();
  lexer.record(&text);
  while (lexer.depth() > 0 || text.empty()) lexer.next();
  lexer.record(nullptr);
  lexer.next();
  EXPECT_EQ(text, "(+ x |a b| (f \"s\"\"t\"))");
}

TEST(Source, ReadsStandardStreams) {
  std::istringstream in("(a b)\n(c)");
  Lexer lexer(Source::of_stream(in), 4);
  EXPECT_EQ(tokens(lexer), tokens("(a b)\n(c)"));
}

}  // namespace
}  // namespace tarku::smtlib
