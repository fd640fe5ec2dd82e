// Proof nodes: what they hold, reference counting, and destruction of deep and shared proofs.
#include "tarku/la/la_proof.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

namespace tarku::la {
namespace {

using proof::Proof;
using proof::Ref;

// A leaf that counts its living instances.
class CountingLeaf : public LaProof {
 public:
  CountingLeaf() { ++living; }
  ~CountingLeaf() override { --living; }

  static inline int living = 0;
};

// A combination that counts too, to see that inner nodes die.
class CountingComb : public LaComb {
 public:
  CountingComb(Proof* p1, Proof* p2) : LaComb(nullptr, p1, nullptr, p2, 0, 0, 0) { ++living; }
  ~CountingComb() override { --living; }

  static inline int living = 0;
};

TEST(Proof, BornWithOneReference) {
  LaHyp* leaf = new LaHyp(4, -1);
  EXPECT_EQ(1u, leaf->count());
  EXPECT_EQ(4, leaf->index());
  EXPECT_EQ(-1, leaf->side());
  leaf->retain();
  EXPECT_EQ(2u, leaf->count());
  Proof::release(leaf);
  EXPECT_EQ(1u, leaf->count());
  Proof::release(leaf);
}

TEST(Proof, TheCountFollowsThePolymorphicHeader) {
  static_assert(std::is_same_v<std::uint32_t, decltype(std::declval<const Proof&>().count())>);
  static_assert(std::has_virtual_destructor_v<Proof> && !std::is_copy_constructible_v<Proof>);
  EXPECT_EQ(16u, sizeof(Proof));
  EXPECT_EQ(24u, sizeof(LaHyp));
  LaHyp leaf(0, 0);
  EXPECT_EQ(1u, *reinterpret_cast<const std::uint32_t*>(reinterpret_cast<const char*>(&leaf) + sizeof(void*)));
}

TEST(Proof, ReleaseOfNullDoesNothing) {
  Proof::release(nullptr);
}

TEST(Proof, TheLastReleaseDestroys) {
  Proof* leaf = new CountingLeaf;
  leaf->retain();
  Proof::release(leaf);
  EXPECT_EQ(1, CountingLeaf::living);
  Proof::release(leaf);
  EXPECT_EQ(0, CountingLeaf::living);
}

TEST(Proof, ARefGivesItsReferenceBack) {
  {
    Ref held(new CountingLeaf);
    EXPECT_EQ(1, CountingLeaf::living);
  }
  EXPECT_EQ(0, CountingLeaf::living);
}

TEST(LaComb, OwnsCoefficientsAndPremises) {
  auto* first = new CountingLeaf;
  auto* second = new CountingLeaf;
  second->retain();
  const LaComb* comb = new LaComb(new QNumber(2), first, new QNumber(-1, 3), second, 2, -1, 1);
  EXPECT_EQ("2", comb->coeff1()->to_str());
  EXPECT_EQ("-1/3", comb->coeff2()->to_str());
  EXPECT_EQ(first, comb->premise1());
  EXPECT_EQ(second, comb->premise2());
  EXPECT_EQ(2, comb->a());
  EXPECT_EQ(-1, comb->b());
  EXPECT_EQ(1, comb->c());
  EXPECT_EQ(1u, comb->count());
  EXPECT_EQ(2u, second->count());
  Proof::release(const_cast<LaComb*>(comb));
  EXPECT_EQ(1, CountingLeaf::living);
  EXPECT_EQ(1u, second->count());
  Proof::release(second);
  EXPECT_EQ(0, CountingLeaf::living);
}

TEST(LaComb, AllPointersMayBeNull) {
  Ref comb(new LaComb(nullptr, nullptr, nullptr, nullptr, 0, 0, 0));
  EXPECT_EQ(nullptr, static_cast<LaComb*>(comb.get())->coeff1());
  EXPECT_EQ(nullptr, static_cast<LaComb*>(comb.get())->premise2());
}

TEST(LaComb, MayHoldTheSameLeafTwice) {
  auto* leaf = new CountingLeaf;
  leaf->retain();
  Proof::release(new LaComb(nullptr, leaf, new QNumber(0), leaf, 0, 0, 0));
  EXPECT_EQ(0, CountingLeaf::living);
}

TEST(LaComb, DestructionOutsideReleaseLetsGoToo) {
  auto* leaf = new CountingLeaf;
  leaf->retain();
  { LaComb local(nullptr, leaf, nullptr, new CountingLeaf, 0, 0, 0); }
  EXPECT_EQ(1, CountingLeaf::living);
  EXPECT_EQ(1u, leaf->count());
  Proof::release(leaf);
}

TEST(LaCombImp, OwnsItsPremise) {
  auto* leaf = new CountingLeaf;
  auto* implication = new LaCombImp(9, 0, leaf);
  EXPECT_EQ(9, implication->index());
  EXPECT_EQ(0, implication->zero());
  EXPECT_EQ(leaf, implication->premise());
  EXPECT_EQ(1u, leaf->count());
  Proof::release(implication);
  EXPECT_EQ(0, CountingLeaf::living);
  Proof::release(new LaCombImp(9, 0, nullptr));
}

TEST(LaNeq, AddsAReferenceToEachPremise) {
  auto* less = new CountingLeaf;
  auto* greater = new CountingLeaf;
  auto* split = new LaNeq(6, less, greater);
  EXPECT_EQ(1u, split->count());
  EXPECT_EQ(6, split->id());
  EXPECT_EQ(less, split->less());
  EXPECT_EQ(greater, split->greater());
  EXPECT_EQ(2u, less->count());
  EXPECT_EQ(2u, greater->count());
  Proof::release(less);
  Proof::release(greater);
  EXPECT_EQ(2, CountingLeaf::living);
  Proof::release(split);
  EXPECT_EQ(0, CountingLeaf::living);
}

TEST(LaNeq, NullPremisesAreAllowed) {
  auto* leaf = new CountingLeaf;
  Proof::release(new LaNeq(6, nullptr, leaf));
  EXPECT_EQ(1u, leaf->count());
  Proof::release(new LaNeq(6, leaf, nullptr));
  Proof::release(new LaNeq(6, nullptr, nullptr));
  EXPECT_EQ(1u, leaf->count());
  Proof::release(leaf);
}

// ---- depth ----

const int kSteps = 300000;

Proof* left_deep_chain() {
  Proof* chain = new CountingLeaf;
  for (int i = 0; i < kSteps; ++i) chain = new CountingComb(chain, i % 1000 == 0 ? new CountingLeaf : nullptr);
  return chain;
}

void expect_nothing_lives() {
  EXPECT_EQ(0, CountingLeaf::living);
  EXPECT_EQ(0, CountingComb::living);
}

TEST(ProofDepth, LeftDeepChain) {
  Proof* chain = left_deep_chain();
  EXPECT_EQ(kSteps, CountingComb::living);
  Proof::release(chain);
  expect_nothing_lives();
}

TEST(ProofDepth, RightDeepChain) {
  Proof* chain = new CountingLeaf;
  for (int i = 0; i < kSteps; ++i) chain = new CountingComb(new CountingLeaf, chain);
  Proof::release(chain);
  expect_nothing_lives();
}

TEST(ProofDepth, ZigzagThroughAllKindsOfSteps) {
  Proof* chain = new CountingLeaf;
  for (int i = 0; i < kSteps; ++i) {
    if (i % 4 == 0) chain = new CountingComb(chain, new CountingLeaf);
    if (i % 4 == 1) chain = new LaCombImp(i, 0, chain);
    if (i % 4 == 2) chain = new CountingComb(nullptr, chain);
    if (i % 4 == 3) {
      Proof* side = new CountingLeaf;
      Proof* split = i % 8 == 3 ? new LaNeq(i, chain, side) : new LaNeq(i, side, chain);
      Proof::release(side);
      Proof::release(chain);
      chain = split;
    }
  }
  Proof::release(chain);
  expect_nothing_lives();
}

TEST(ProofDepth, ChainsOfSplitsThroughEitherPremise) {
  for (bool through_less : {true, false}) {
    Proof* chain = new CountingLeaf;
    for (int i = 0; i < kSteps; ++i) {
      Proof* split = through_less ? new LaNeq(i, chain, nullptr) : new LaNeq(i, nullptr, chain);
      Proof::release(chain);
      chain = split;
    }
    Proof::release(chain);
    expect_nothing_lives();
  }
}

TEST(ProofDepth, ChainsUnderOtherRoots) {
  Proof::release(new LaCombImp(1, 0, left_deep_chain()));
  expect_nothing_lives();
  Ref less(left_deep_chain()), greater(left_deep_chain());
  Proof* split = new LaNeq(2, less.get(), greater.get());
  less.reset();
  greater.reset();
  EXPECT_EQ(2 * kSteps, CountingComb::living);
  Proof::release(split);
  expect_nothing_lives();
  { LaComb local(nullptr, left_deep_chain(), nullptr, left_deep_chain(), 0, 0, 0); }
  expect_nothing_lives();
}

TEST(ProofDepth, ASharedPartSurvives) {
  Proof* shared = left_deep_chain();
  shared->retain();
  Proof::release(new CountingComb(new CountingLeaf, new CountingComb(shared, nullptr)));
  EXPECT_EQ(kSteps, CountingComb::living);
  EXPECT_EQ(1u, shared->count());
  Proof::release(shared);
  expect_nothing_lives();
}

// Random graphs with much sharing; the references held by the test are given back in random order, and a node lives
// exactly as long as it is reachable from one of them.
void run_random_graph(unsigned seed) {
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  std::vector<Proof*> nodes;
  std::vector<std::vector<std::size_t>> premises;
  for (std::size_t i = 0; i < 60; ++i) {
    premises.emplace_back();
    if (i < 5 || random() % 4 == 0) {
      nodes.push_back(new CountingLeaf);
      continue;
    }
    for (int k = 0; k < 2; ++k) premises[i].push_back(random() % i);
    for (std::size_t premise : premises[i]) nodes[premise]->retain();
    nodes.push_back(new CountingComb(nodes[premises[i][0]], nodes[premises[i][1]]));
  }
  std::vector<char> held(nodes.size(), 1);
  for (std::size_t left = nodes.size(); left > 0; --left) {
    std::size_t victim = random() % nodes.size();
    while (held[victim] == 0) victim = (victim + 1) % nodes.size();
    Proof::release(nodes[victim]);
    held[victim] = 0;
    std::vector<char> reachable = held;
    int expected = 0;
    for (std::size_t i = nodes.size(); i-- > 0;) {
      if (reachable[i] == 0) continue;
      ++expected;
      for (std::size_t premise : premises[i]) reachable[premise] = 1;
    }
    ASSERT_EQ(expected, CountingLeaf::living + CountingComb::living);
  }
}

TEST(ProofDepth, RandomGraphsDieNodeByNode) {
  for (unsigned seed = 1; seed <= 100; ++seed) run_random_graph(seed);
  expect_nothing_lives();
}

}  // namespace
}  // namespace tarku::la
