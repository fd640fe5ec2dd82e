// DNumber: delta-rationals a + b*delta with two infinities, in one word that shares its block copy-on-write.
//
// delta stands for an infinitesimal positive quantity: a strict bound x < c is the bound x <= c - delta.  The word is
//
//   the address of the static block of zero    the value 0; never counted, never freed
//   the address of a heap block                a finite value; the block counts its handles
//   the address of a static block, lowest bit set   an infinity; never counted, never freed
//
// A block with a count of 1 is changed in place; a shared one is left alone and replaced.  The count of zero's block
// starts at 2 and is never written, so zero always looks shared.  Copies, assignments and comparisons of identical
// handles are word operations.  Counts are plain integers: handles of one block belong to one thread.
//
// Arithmetic keeps an infinity of the left operand, then one of the right operand, and never turns it round:
// 5 - plus_inf is plus_inf, and plus_inf * -1 is plus_inf.  Code that wants limits computes on finite values only.
#pragma once

#include <cassert>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <utility>

#include "tarku/numbers/qnumber.h"

namespace tarku::la {

class DNumber {
 public:
  // The shared block.  The infinities' blocks carry real parts that make the comparison below order them:
  // 1 for plus_inf, 0 for minus_inf.
  struct num_repr {
    QNumber real_;
    QNumber delta_;
    std::int32_t refcount_;  // handles that share the block

    constexpr num_repr(int real, int delta, int count) : real_(real), delta_(delta), refcount_(count) {}
    num_repr(QNumber real, QNumber delta, int count)
        : real_(std::move(real)), delta_(std::move(delta)), refcount_(count) {}
    // A heap block holding real + delta*delta with the given count, for code that builds handles by hand.
    template <class Real, class Delta>
    static num_repr* alloc(const Real& real, const Delta& delta, int count) {
      return new num_repr(QNumber(real), QNumber(delta), count);
    }
  };

  static const DNumber zero, plus_inf, minus_inf;

  constexpr DNumber() noexcept : word_(&statics_.zero.bytes[0]) {}
  DNumber(const QNumber& real) : DNumber(real, QNumber()) {}
  // real + delta*delta; zero shares the static block.
  DNumber(QNumber real, QNumber delta);
  DNumber(const DNumber& other) noexcept : word_(other.word_) { acquire(); }
  DNumber(DNumber&& other) noexcept : word_(other.word_) { other.word_ = zero_word(); }
  ~DNumber() { release(word_); }
  // Safe when both sides are the same handle or share a block.
  DNumber& operator=(const DNumber& other) noexcept;
  // Steals the word; the source becomes zero.
  DNumber& operator=(DNumber&& other) noexcept;
  // Takes over one reference of a block made by num_repr::alloc.
  static DNumber adopt(num_repr* block) noexcept { return DNumber(Word{reinterpret_cast<const char*>(block)}); }
  void swap(DNumber& other) noexcept { std::swap(word_, other.word_); }

  // The two parts.  For an infinity they are those of its static block and mean nothing as numbers.
  const QNumber& real() const { return repr()->real_; }
  const QNumber& delta() const { return repr()->delta_; }

  bool is_infinite() const { return (reinterpret_cast<std::uintptr_t>(word_) & 1) != 0; }
  bool is_plus_inf() const { return word_ == plus_word(); }
  bool is_minus_inf() const { return word_ == minus_word(); }
  // True when the two handles hold the same word: equal without a look at the numbers.
  bool is_same(const DNumber& other) const { return word_ == other.word_; }
  // True when the block must be copied before it is written: infinities, zero, blocks with several handles.
  bool is_shared() const { return is_infinite() || repr()->refcount_ >= 2; }

  // ---- arithmetic; operands may alias ----
  DNumber operator+(const DNumber& other) const;
  DNumber operator-(const DNumber& other) const;  // an infinite `other` is the result as it is, not negated
  DNumber operator*(const QNumber& factor) const;
  DNumber& operator+=(const DNumber& other);  // in place when this handle is the only owner
  // Fused forms for hot loops: *this += d*c and *this -= d*c.  Both values must be finite.  When this handle is the
  // only owner of its block, nothing is allocated as long as the numbers stay small.
  void add_mul(const DNumber& d, const QNumber& c);
  void sub_mul(const DNumber& d, const QNumber& c);

  // "3", "3-1*delta", "1/2+2*delta", "+inf", "-inf".
  std::string to_str() const;

 private:
  // A static block whose bytes can be addressed in constant expressions, so that tagged words can be, too.
  union StaticBlock {
    num_repr repr;
    char bytes[sizeof(num_repr)];
    constexpr StaticBlock(int real, int count) : repr(real, 0, count) {}
    ~StaticBlock() {}  // static blocks outlive every handle
  };
  struct Statics {
    StaticBlock zero, plus, minus;
  };
  static const Statics statics_;

  struct Word {
    const char* word;
  };
  explicit constexpr DNumber(Word word) noexcept : word_(word.word) {}
  static const char* zero_word() { return &statics_.zero.bytes[0]; }
  static const char* plus_word() { return &statics_.plus.bytes[1]; }
  static const char* minus_word() { return &statics_.minus.bytes[1]; }

  static num_repr* block_of(const char* word) {
    return reinterpret_cast<num_repr*>(reinterpret_cast<std::uintptr_t>(word) & ~std::uintptr_t{1});
  }
  num_repr* repr() const { return block_of(word_); }
  // True for words whose block is counted.
  static bool is_counted(const char* word) {
    return (reinterpret_cast<std::uintptr_t>(word) & 1) == 0 && word != zero_word();
  }
  void acquire() const {
    if (is_counted(word_)) ++repr()->refcount_;
  }
  static void release(const char* word) noexcept {
    if (is_counted(word) && --block_of(word)->refcount_ == 0) destroy(block_of(word));
  }
  static void destroy(num_repr* block) noexcept;  // out of line: rare, and long when inlined
  void replace_block(num_repr* fresh) noexcept;
  void add_mul_general(const DNumber& d, const QNumber& c, bool subtract);

  friend int cmp(const DNumber& x, const DNumber& y);
  friend int cmp(const DNumber& x, const DNumber& y, bool);

  const char* word_;
};

static_assert(sizeof(DNumber) == sizeof(void*), "a delta-rational is exactly one word");

// Three-way comparison of finite values: -1, 0 or 1.  Does not look at the tag.
int cmp(const DNumber& x, const DNumber& y);
// Three-way comparison that also orders infinities; the flag has no influence.
int cmp(const DNumber& x, const DNumber& y, bool with_infinities);

std::ostream& operator<<(std::ostream& out, const DNumber& value);

// ---- inline ----

inline DNumber& DNumber::operator=(const DNumber& other) noexcept {
  other.acquire();  // first, so that releasing our own block cannot free the other's
  const char* old = word_;
  word_ = other.word_;
  release(old);
  return *this;
}

inline DNumber& DNumber::operator=(DNumber&& other) noexcept {
  const char* taken = other.word_;
  other.word_ = zero_word();
  const char* old = word_;
  word_ = taken;
  release(old);
  return *this;
}

inline int cmp(const DNumber& x, const DNumber& y) {
  if (x.word_ == y.word_) return 0;
  const int by_real = QNumber::compare(x.real(), y.real());
  return by_real != 0 ? by_real : QNumber::compare(x.delta(), y.delta());
}

inline int cmp(const DNumber& x, const DNumber& y, bool) {
  if (x.is_infinite() == y.is_infinite()) return cmp(x, y);
  if (x.is_infinite()) return x.real().is_zero() ? -1 : 1;
  return y.real().is_zero() ? 1 : -1;
}

inline bool operator==(const DNumber& x, const DNumber& y) {
  return cmp(x, y, true) == 0;
}
inline bool operator!=(const DNumber& x, const DNumber& y) {
  return cmp(x, y, true) != 0;
}

}  // namespace tarku::la
