#include "framework/basic_string.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "../support/throws.h"

namespace {

using qor::string_t;

constexpr std::size_t kMax = string_t::kMaxSize;

// Counts blocks and can be told to refuse memory.
class TestAllocator : public qor::RefCounted<qor::IAllocator> {
 public:
  explicit TestAllocator(bool* destroyed = nullptr) : destroyed_(destroyed) {}
  ~TestAllocator() override { if (destroyed_) *destroyed_ = true; }
  void* allocate(std::size_t bytes) noexcept override {
    if (refuse) return nullptr;
    ++allocations, ++live;
    return std::malloc(bytes);
  }
  void deallocate(void* block, std::size_t) noexcept override { --live, std::free(block); }

  bool refuse = false;
  int allocations = 0, live = 0;

 private:
  bool* destroyed_;
};

struct BasicString : ::testing::Test {
  qor::objptr_t<TestAllocator> allocator = qor::makeObject<TestAllocator>();
  string_t make(const char16_t* text) { return string_t(text, std::char_traits<char16_t>::length(text), allocator); }
  void TearDown() override { EXPECT_EQ(allocator->live, 0) << "leaked blocks"; }
};

TEST_F(BasicString, ShortTextStaysInlineLongerTextGrowsOnTheHeap) {
  EXPECT_EQ(string_t(static_cast<const char16_t*>(nullptr)).size(), 0u);
  EXPECT_EQ(string_t().c_str()[0], u'\0');
  string_t s = make(u"1234567");
  EXPECT_EQ(std::make_pair(s.capacity(), allocator->allocations), std::make_pair(std::size_t(7), 0));
  s.push_back(u'8');
  EXPECT_EQ(allocator->allocations, 1);
  EXPECT_EQ(std::u16string(s.c_str(), 9), std::u16string(u"12345678", 9));
  for (int i = 0; i < 100; ++i) s.append(u"ab", 2);
  EXPECT_EQ(s.str().substr(200), u"abababab");
  EXPECT_LE(allocator->allocations, 8) << "doubling keeps reallocations logarithmic";

  string_t inserted = make(u"acd");
  inserted.insert(1, u"b", 1);
  inserted.insert(0, std::u16string_view(u"<"));
  inserted.insert(inserted.size(), std::u16string_view(u">"));
  inserted.insert(3, std::u16string_view(u"0123456789"));
  EXPECT_EQ(inserted, u"<ab0123456789cd>");
  EXPECT_EQ(inserted.c_str()[inserted.size()], u'\0');
  EXPECT_THROW(inserted.insert(inserted.size() + 1, u"x", 1), std::out_of_range);
  EXPECT_EQ(inserted, u"<ab0123456789cd>");
  const std::size_t capacity = inserted.capacity();
  inserted.clear();
  EXPECT_TRUE(inserted.capacity() == capacity && inserted.c_str()[0] == u'\0');
}

TEST_F(BasicString, CopiesItsOwnTextInPlaceAndWhileGrowing) {
  string_t inPlace = make(u"abcdef");
  inPlace.reserve(64);
  inPlace.insert(1, inPlace.data() + 2, 3);  // source lies behind the gap
  EXPECT_EQ(inPlace, u"acdebcdef");
  inPlace.insert(4, inPlace.data() + 2, 4);  // source straddles the gap
  EXPECT_EQ(inPlace, u"acdedebcbcdef");
  inPlace.insert(5, inPlace.data(), 2);  // source ahead of the gap
  EXPECT_EQ(inPlace, u"acdedacebcbcdef");

  string_t growing = make(u"abcdefg");
  growing.append(growing.data(), growing.size());
  EXPECT_EQ(growing, u"abcdefgabcdefg");
  growing.insert(2, growing.data() + 1, 14 - 1);
  EXPECT_EQ(growing, u"abbcdefgabcdefgcdefgabcdefg");
}

TEST_F(BasicString, CopiesMovesAndSwaps) {
  string_t original = make(u"a longer text"), copy = original;
  EXPECT_EQ(copy.allocator(), original.allocator());
  EXPECT_NE(copy.data(), original.data());
  copy[0] = u'A';
  EXPECT_EQ(original, u"a longer text");
  EXPECT_NE(original, make(u"a longer tex"));
  string_t assigned;
  assigned = original;
  assigned = assigned;
  EXPECT_TRUE(assigned == u"a longer text" && assigned.allocator() == original.allocator());

  const char16_t* buffer = original.data();
  const int allocations = allocator->allocations;
  string_t moved = std::move(original);
  EXPECT_TRUE(moved.data() == buffer && allocator->allocations == allocations && original.empty());
  original.append(u"again", 5);
  EXPECT_EQ(original, u"again");
  string_t target = make(u"to be replaced");
  target = make(u"abc");
  EXPECT_EQ(target.data()[3], u'\0');
  EXPECT_EQ(static_cast<std::u16string>(target), u"abc");

  string_t a = make(u"x"), b = make(u"a heap text");
  a.swap(b);
  EXPECT_EQ(a, u"a heap text");
  b.append(u"yz", 2);  // b's inline buffer is its own after the swap
  EXPECT_EQ(b, u"xyz");
}

TEST_F(BasicString, TheLengthLimitIsCheckedBeforeAllocatingOrReadingAndChangesNothing) {
  // A null pointer with a huge length would crash if it were read.
  const char16_t* unreadable = nullptr;
  const char* constructor = "qor::basic_string_t constructor";
  const char* reserveExtra = "qor::basic_string_t::reserve_extra()";
  const char* resizeExtraAt = "qor::basic_string_t::resize_extra_at";
  string_t s = make(u"unchanged text");
  const std::size_t capacity = s.capacity();
  const int allocations = allocator->allocations;
  const struct { std::function<void()> grow; const char* message; } cases[] = {
      {[&] { string_t(unreadable, kMax + 1, allocator); }, constructor},
      {[&] { string_t(unreadable, SIZE_MAX, allocator); }, constructor},
      // Exactly reaching the limit is already too much.
      {[&] { s.append(unreadable, kMax - s.size()); }, reserveExtra},
      {[&] { s.append(unreadable, SIZE_MAX); }, reserveExtra}, {[&] { s.reserve(kMax); }, reserveExtra},
      {[&] { s.insert(3, unreadable, kMax - s.size()); }, resizeExtraAt},
      {[&] { s.insert(0, unreadable, SIZE_MAX); }, resizeExtraAt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    EXPECT_EQ(test_support::messageOf<std::length_error>(c.grow), c.message);
    EXPECT_EQ(s, u"unchanged text");
    EXPECT_EQ(s.capacity(), capacity);
  }
  EXPECT_EQ(allocator->allocations, allocations);
}

TEST_F(BasicString, RefusedMemoryIsBadAllocationAndLeavesTheStringAlone) {
  string_t grown = make(u"already on the heap");
  allocator->refuse = true;
  EXPECT_EQ(test_support::messageOf<std::bad_alloc>([&] { make(u"longer than the inline buffer"); }), "bad allocation");
  string_t s = make(u"short");
  EXPECT_THROW(s.append(std::u16string_view(u" and long")), qor::bad_alloc);
  EXPECT_THROW(s.insert(0, std::u16string_view(u"long and ")), qor::bad_alloc);
  EXPECT_THROW(s.reserve(100), qor::bad_alloc);
  EXPECT_EQ(s, u"short");
  EXPECT_EQ(s.capacity(), 7u);
  const char16_t* buffer = grown.data();
  EXPECT_THROW(grown.reserve(grown.capacity() + 1), qor::bad_alloc);
  EXPECT_EQ(grown.data(), buffer);
  EXPECT_EQ(grown, u"already on the heap");
  allocator->refuse = false;
}

TEST(BasicStringAllocator, StringsHoldTheAllocatorUntilTheLastOneGoes) {
  bool destroyed = false;
  auto* raw = new TestAllocator(&destroyed);
  {
    qor::objptr_t<qor::IAllocator> allocator(raw);
    string_t a(u"a heap text", 11, allocator);
    allocator.reset();
    string_t b = a;
    { string_t dropped = std::move(a); }
    EXPECT_FALSE(destroyed);
    EXPECT_EQ(raw->live, 1);
  }
  EXPECT_TRUE(destroyed);
  EXPECT_EQ(string_t().allocator(), qor::defaultAllocator());
}

}  // namespace
