#include "framework/basic_string.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using qor::string_t;
using String = std::u16string;

constexpr std::size_t kMax = string_t::kMaxSize;

// Counts blocks and can be told to refuse memory.
class TestAllocator : public qor::RefCounted<qor::IAllocator> {
 public:
  explicit TestAllocator(bool* destroyed = nullptr) : destroyed_(destroyed) {}
  ~TestAllocator() override {
    if (destroyed_) *destroyed_ = true;
  }

  void* allocate(std::size_t bytes) noexcept override {
    if (refuse) return nullptr;
    ++allocations;
    ++live;
    return std::malloc(bytes);
  }
  void deallocate(void* block, std::size_t) noexcept override {
    --live;
    std::free(block);
  }

  bool refuse = false;
  int allocations = 0;
  int live = 0;

 private:
  bool* destroyed_;
};

struct Fixture : ::testing::Test {
  qor::objptr_t<TestAllocator> allocator = qor::makeObject<TestAllocator>();
  string_t make(const char16_t* text) {
    return string_t(text, std::char_traits<char16_t>::length(text), allocator);
  }
  void TearDown() override { EXPECT_EQ(allocator->live, 0) << "leaked blocks"; }
};

using BasicString = Fixture;

TEST_F(BasicString, ConstructsFromEverySource) {
  const char16_t text[] = u"hello world";
  EXPECT_EQ(string_t(text, 5).str(), u"hello");
  EXPECT_EQ(string_t(text).str(), u"hello world");
  EXPECT_EQ(string_t(std::u16string_view(text + 6, 5)).str(), u"world");
  EXPECT_EQ(string_t(static_cast<const char16_t*>(nullptr)).size(), 0u);

  const string_t empty;
  EXPECT_TRUE(empty.empty());
  EXPECT_EQ(empty.c_str()[0], u'\0');
  EXPECT_TRUE(empty.allocator());
}

TEST_F(BasicString, ShortTextStaysInlineLongerTextMovesToTheHeap) {
  string_t s = make(u"1234567");
  EXPECT_EQ(s.capacity(), 7u);
  EXPECT_EQ(allocator->allocations, 0);

  s.push_back(u'8');
  EXPECT_EQ(allocator->allocations, 1);
  EXPECT_GE(s.capacity(), 8u);
  EXPECT_EQ(s, u"12345678");
  EXPECT_EQ(s.c_str()[8], u'\0');

  for (int i = 0; i < 100; ++i) s.append(u"ab", 2);
  EXPECT_EQ(s.size(), 208u);
  EXPECT_EQ(s.str().substr(200), u"abababab");
  // Doubling keeps the number of reallocations logarithmic.
  EXPECT_LE(allocator->allocations, 8);
}

TEST_F(BasicString, InsertsAtAnyPosition) {
  string_t s = make(u"acd");
  s.insert(1, u"b", 1);
  s.insert(0, std::u16string_view(u"<"));
  s.insert(s.size(), std::u16string_view(u">"));
  EXPECT_EQ(s, u"<abcd>");
  s.insert(3, std::u16string_view(u"0123456789"));  // grows past the inline buffer
  EXPECT_EQ(s, u"<ab0123456789cd>");
  EXPECT_EQ(s.c_str()[s.size()], u'\0');

  EXPECT_THROW(s.insert(s.size() + 1, u"x", 1), std::out_of_range);
  EXPECT_EQ(s, u"<ab0123456789cd>");
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

TEST_F(BasicString, CopiesShareTheAllocatorButNotTheText) {
  string_t original = make(u"a longer text");
  string_t copy = original;
  EXPECT_EQ(copy, original);
  EXPECT_EQ(copy.allocator(), original.allocator());
  EXPECT_NE(copy.data(), original.data());
  copy[0] = u'A';
  EXPECT_EQ(original, u"a longer text");

  string_t assigned;
  assigned = original;
  EXPECT_EQ(assigned, u"a longer text");
  EXPECT_EQ(assigned.allocator(), original.allocator());
  assigned = assigned;
  EXPECT_EQ(assigned, u"a longer text");
}

TEST_F(BasicString, MovesTakeTheBufferAndLeaveAUsableString) {
  string_t heap = make(u"on the heap");
  const char16_t* buffer = heap.data();
  const int allocations = allocator->allocations;
  string_t moved = std::move(heap);
  EXPECT_EQ(moved.data(), buffer);
  EXPECT_EQ(allocator->allocations, allocations);
  EXPECT_TRUE(heap.empty());
  heap.append(u"again", 5);
  EXPECT_EQ(heap, u"again");

  string_t small = make(u"abc");
  string_t target = make(u"to be replaced");
  target = std::move(small);
  EXPECT_EQ(target, u"abc");
  EXPECT_EQ(target.data()[3], u'\0');
  small = std::move(moved);
  EXPECT_EQ(small, u"on the heap");

  string_t a = make(u"x"), b = make(u"a heap text");
  a.swap(b);
  EXPECT_EQ(a, u"a heap text");
  EXPECT_EQ(b, u"x");
  b.append(u"yz", 2);  // b's inline buffer is its own after the swap
  EXPECT_EQ(b, u"xyz");
}

TEST_F(BasicString, ClearCompareAndConvert) {
  string_t s = make(u"some text here");
  const std::size_t capacity = s.capacity();
  s.clear();
  EXPECT_TRUE(s.empty());
  EXPECT_EQ(s.capacity(), capacity);
  EXPECT_EQ(s.c_str()[0], u'\0');

  EXPECT_EQ(make(u"abc"), make(u"abc"));
  EXPECT_NE(make(u"abc"), make(u"abd"));
  EXPECT_NE(make(u"abc"), make(u"ab"));
  EXPECT_EQ(static_cast<String>(make(u"abc")), u"abc");
  EXPECT_EQ(make(u"abc"), String(u"abc"));
}

TEST_F(BasicString, LengthLimitIsCheckedBeforeAllocatingOrReading) {
  // A null pointer with a huge length would crash if it were read.
  const char16_t* unreadable = nullptr;
  for (std::size_t length : {kMax + 1, std::numeric_limits<std::size_t>::max()}) {
    try {
      string_t s(unreadable, length, allocator);
      FAIL() << "created a string of " << length << " units";
    } catch (const std::length_error& e) {
      EXPECT_STREQ(e.what(), "qor::basic_string_t constructor");
    }
  }
  EXPECT_EQ(allocator->allocations, 0);
}

TEST_F(BasicString, GrowingToTheLimitFailsAndLeavesTheStringAlone) {
  string_t s = make(u"unchanged text");
  const std::size_t capacity = s.capacity();
  const char16_t* unreadable = nullptr;
  const int allocations = allocator->allocations;

  auto expectLengthError = [&](auto grow, const char* message) {
    try {
      grow();
      ADD_FAILURE() << "no length error, expected " << message;
    } catch (const std::length_error& e) {
      EXPECT_STREQ(e.what(), message);
    }
    EXPECT_EQ(s, u"unchanged text");
    EXPECT_EQ(s.capacity(), capacity);
  };
  const char* reserveExtra = "qor::basic_string_t::reserve_extra()";
  const char* resizeExtraAt = "qor::basic_string_t::resize_extra_at";
  // Exactly reaching the limit is already too much.
  expectLengthError([&] { s.append(unreadable, kMax - s.size()); }, reserveExtra);
  expectLengthError([&] { s.append(unreadable, SIZE_MAX); }, reserveExtra);
  expectLengthError([&] { s.reserve(kMax); }, reserveExtra);
  expectLengthError([&] { s.insert(3, unreadable, kMax - s.size()); }, resizeExtraAt);
  expectLengthError([&] { s.insert(0, unreadable, SIZE_MAX); }, resizeExtraAt);
  EXPECT_EQ(allocator->allocations, allocations);
}

TEST_F(BasicString, RefusedMemoryIsBadAllocationAndLeavesTheStringAlone) {
  allocator->refuse = true;
  try {
    make(u"longer than the inline buffer");
    FAIL() << "no exception";
  } catch (const std::bad_alloc& e) {
    EXPECT_STREQ(e.what(), "bad allocation");
  }
  EXPECT_NO_THROW(make(u"short"));

  string_t s = make(u"short");
  EXPECT_THROW(s.append(std::u16string_view(u" and long")), qor::bad_alloc);
  EXPECT_THROW(s.insert(0, std::u16string_view(u"long and ")), qor::bad_alloc);
  EXPECT_THROW(s.reserve(100), qor::bad_alloc);
  EXPECT_EQ(s, u"short");
  EXPECT_EQ(s.capacity(), 7u);
  allocator->refuse = false;

  string_t grown = make(u"already on the heap");
  allocator->refuse = true;
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
}

TEST(BasicStringAllocator, DefaultHeapAllocatorServesStrings) {
  string_t s;
  for (int i = 0; i < 1000; ++i) s.append(u"0123456789", 10);
  EXPECT_EQ(s.size(), 10000u);
  EXPECT_EQ(s.allocator(), qor::defaultAllocator());
  EXPECT_TRUE(s.allocator().query<qor::IAllocator>());
}

}  // namespace
