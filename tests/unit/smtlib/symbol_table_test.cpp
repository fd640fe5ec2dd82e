// The symbol table: interning, hiding, levels, and declarations that outlive them.
#include "tarku/smtlib/symbol_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace tarku::smtlib {
namespace {

Binding constant(std::uint32_t id) {
  return Binding::to_value(Value::closed(smt::Term(id)));
}

std::uint32_t meaning(const SymbolTable& table, SymbolId id) {
  return table.lookup(id).value.term.id();
}

bool is_bound(const SymbolTable& table, SymbolId id) {
  return table.lookup(id).kind != Binding::Kind::none;
}

TEST(Interner, GivesEqualNamesEqualNumbers) {
  Interner interner;
  for (int round = 0; round < 2; ++round) {
    for (std::uint32_t i = 0; i < 5000; ++i) {  // beyond several growths of the table
      ASSERT_EQ(static_cast<std::uint32_t>(interner.intern("name" + std::to_string(i))), i);
    }
  }
  EXPECT_EQ(interner.size(), 5000u);
  EXPECT_EQ(interner.name(SymbolId{4321}), "name4321");
  EXPECT_EQ(interner.name(interner.intern("")), "");
}

TEST(Interner, TellsSimilarNamesApart) {
  std::vector<std::string> names;
  for (std::size_t length = 0; length <= 300; ++length) {
    names.emplace_back(length, 'a');
    if (length > 0) names.push_back(names.back().substr(1) + '\0');
    for (std::size_t i = 0; i < std::min<std::size_t>(length, 20); ++i) {
      names.emplace_back(length, 'a');
      names.back()[i] = 'b';
    }
  }
  Interner interner;
  for (int round = 0; round < 2; ++round) {
    for (std::size_t i = 0; i < names.size(); ++i) ASSERT_EQ(interner.intern(names[i]), static_cast<SymbolId>(i)) << i;
  }
  for (std::size_t i = 0; i < names.size(); ++i) ASSERT_EQ(interner.name(static_cast<SymbolId>(i)), names[i]);
}

TEST(SymbolTable, KnowsTheReservedWords) {
  SymbolTable table;
  EXPECT_EQ(table.intern("let"), static_cast<SymbolId>(Reserved::let));
  EXPECT_EQ(table.intern("as"), static_cast<SymbolId>(Reserved::as));
  EXPECT_TRUE(SymbolTable::is_reserved(table.intern("_")));
  EXPECT_FALSE(SymbolTable::is_reserved(table.intern("lets")));
}

TEST(SymbolTable, InnerScopesHideOuterOnes) {
  SymbolTable table;
  const SymbolId x = table.intern("x");
  EXPECT_FALSE(is_bound(table, x));
  ASSERT_TRUE(table.declare(x, constant(1)));
  const auto outer = table.open_scope();
  ASSERT_TRUE(table.bind_local(outer, x, Value::closed(smt::Term(2))));
  const auto inner = table.open_scope();
  ASSERT_TRUE(table.bind_local(inner, x, Value::closed(smt::Term(3))));
  EXPECT_EQ(meaning(table, x), 3u);
  table.close_scope(inner);
  EXPECT_EQ(meaning(table, x), 2u);
  table.close_scope(outer);
  EXPECT_EQ(meaning(table, x), 1u);
}

TEST(SymbolTable, OneScopeBindsANameOnce) {
  SymbolTable table;
  const SymbolId x = table.intern("x");
  const auto scope = table.open_scope();
  EXPECT_TRUE(table.bind_local(scope, x, Value::closed(smt::Term(1))));
  EXPECT_FALSE(table.bind_local(scope, x, Value::closed(smt::Term(2))));
  EXPECT_EQ(meaning(table, x), 1u);
}

TEST(SymbolTable, DeclarationsInsideAScopeOutliveIt) {
  SymbolTable table;
  const SymbolId x = table.intern("x"), n = table.intern("n");
  const auto scope = table.open_scope();
  ASSERT_TRUE(table.bind_local(scope, x, Value::closed(smt::Term(1))));
  ASSERT_TRUE(table.declare(n, constant(2)));
  table.close_scope(scope);
  EXPECT_FALSE(is_bound(table, x));
  EXPECT_EQ(meaning(table, n), 2u);
}

TEST(SymbolTable, PopForgetsTheLevel) {
  SymbolTable table;
  const SymbolId x = table.intern("x"), y = table.intern("y"), s = table.intern("S");
  ASSERT_TRUE(table.declare(x, constant(1)));
  table.push();
  ASSERT_TRUE(table.declare(y, constant(2)));
  ASSERT_TRUE(table.declare_sort(s, {true, false, 0, {}}));
  EXPECT_FALSE(table.declare(y, constant(3)));
  EXPECT_FALSE(table.declare_sort(s, {true, false, 1, {}}));
  table.pop();
  EXPECT_TRUE(is_bound(table, x));
  EXPECT_FALSE(is_bound(table, y));
  EXPECT_FALSE(table.lookup_sort(s).is_bound);
  EXPECT_TRUE(table.declare(y, constant(4)));
  EXPECT_TRUE(table.declare_sort(s, {true, false, 2, {}}));
  EXPECT_EQ(table.lookup_sort(s).arity, 2u);
  EXPECT_FALSE(table.lookup_sort(x).is_bound);
}

TEST(SymbolTable, GlobalDeclarationsOutlivePop) {
  SymbolTable table;
  const SymbolId x = table.intern("x"), y = table.intern("y"), z = table.intern("z");
  table.push();
  ASSERT_TRUE(table.declare(x, constant(1)));
  table.set_global_declarations(true);
  ASSERT_TRUE(table.declare(y, constant(2)));
  table.push();
  ASSERT_TRUE(table.declare(z, constant(3)));
  table.pop();
  table.pop();
  EXPECT_FALSE(is_bound(table, x));
  EXPECT_TRUE(is_bound(table, y));
  EXPECT_TRUE(is_bound(table, z));
  ASSERT_EQ(table.declarations().size(), 2u);
  EXPECT_EQ(table.declarations()[0].id, y);
  EXPECT_EQ(table.declarations()[1].id, z);
  table.pop_all();
  EXPECT_EQ(table.declarations().size(), 2u);
}

TEST(SymbolTable, RollBackTakesDeclarationsOfAnyKindBack) {
  SymbolTable table;
  const SymbolId x = table.intern("x"), y = table.intern("y");
  ASSERT_TRUE(table.declare(x, constant(1)));
  table.set_global_declarations(true);
  ASSERT_TRUE(table.declare(y, constant(2)));
  table.roll_back(1);
  EXPECT_TRUE(is_bound(table, x));
  EXPECT_FALSE(is_bound(table, y));
}

TEST(SymbolTable, SaysWhyANameIsTaken) {
  SymbolTable table;
  table.bind_theory("+", Binding::to_op(smt::Op::add));
  table.bind_theory_sort("Real", smt::Sort::real);
  const SymbolId x = table.intern("x");
  ASSERT_TRUE(table.declare(x, constant(1)));
  EXPECT_FALSE(table.declare(table.intern("+"), constant(2)));
  EXPECT_EQ(table.why_taken(x), "'x' is declared already");
  EXPECT_EQ(table.why_taken(table.intern("+")), "'+' is a name of the theory and cannot be declared");
  EXPECT_EQ(table.why_taken(table.intern("Real"), true), "sort 'Real' is a name of the theory and cannot be declared");
}

}  // namespace
}  // namespace tarku::smtlib
