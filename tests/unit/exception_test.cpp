// The exception type: composing, copying, stability of what(); and termination tests, which end a search by throwing.
#include "tarku/exception.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <type_traits>

#include "tarku/termination_test.h"

namespace tarku {
namespace {

static_assert(std::is_base_of_v<std::exception, Exception>);
static_assert(std::has_virtual_destructor_v<TerminationTest>);

TEST(Exception, TextIsComposedByStreaming) {
  Exception exception;
  EXPECT_STREQ("", exception.what());
  exception << "limit " << 42 << ' ' << std::string("reached");
  EXPECT_STREQ("limit 42 reached", exception.what());
  exception << "!";
  EXPECT_STREQ("limit 42 reached!", exception.what());
  EXPECT_STREQ("given text: 7", (Exception("given text: ") << 7).what());
}

TEST(Exception, ACopyStartsFromTheTextAndGoesItsOwnWay) {
  Exception original;
  original << "one";
  Exception copy(original);
  EXPECT_STREQ("one", copy.what());
  copy << " two";
  original << " three";
  EXPECT_STREQ("one two", copy.what());
  EXPECT_STREQ("one three", original.what());
}

TEST(Exception, AssignmentReplacesTheText) {
  Exception source("new"), target("a longer old text");
  target = source;
  EXPECT_STREQ("new", target.what());
  target << "er";
  EXPECT_STREQ("newer", target.what());
  Exception& alias = target;
  target = alias;
  EXPECT_STREQ("newer", target.what());
}

TEST(Exception, WhatStaysValidWhileTheTextDoesNotChange) {
  Exception exception;
  exception << std::string(100, 'a');
  const char* first = exception.what();
  EXPECT_EQ(first, exception.what());
  EXPECT_EQ(std::string(100, 'a'), first);
}

TEST(Exception, CanBeThrownWhileComposed) {
  try {
    throw Exception() << "too many iterations: " << 101;
  } catch (const std::exception& caught) {
    EXPECT_STREQ("too many iterations: 101", caught.what());
  }
}

TEST(Exception, DumpingReturns) {
  Exception exception("text");
  Exception::dump_msg_and_raise_assertion(exception);
  EXPECT_STREQ("text", exception.what());
}

TEST(TerminationTest, TheBaseLetsTheSearchGoOn) {
  const TerminationTest test;
  EXPECT_NO_THROW(test());
}

TEST(TerminationTest, ADerivedTestThrows) {
  struct Stop : TerminationTest {
    void operator()() const override { throw std::runtime_error("stop"); }
  };
  const Stop stop;
  const TerminationTest& test = stop;
  EXPECT_THROW(test(), std::runtime_error);
}

}  // namespace
}  // namespace tarku
