#include "framework/objptr.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using qor::objptr_t;

class IShape : public qor::IRefCounted {
 public:
  static constexpr qor::InterfaceId kIid{"test::IShape"};
  virtual int corners() const = 0;
};

class INamed : public qor::IRefCounted {
 public:
  static constexpr qor::InterfaceId kIid{"test::INamed"};
  virtual const char* name() const = 0;
};

class IUnused : public qor::IRefCounted {
 public:
  static constexpr qor::InterfaceId kIid{"test::IUnused"};
};

class Square : public qor::RefCounted<IShape, INamed> {
 public:
  explicit Square(int* alive) : alive_(alive) { ++*alive_; }
  ~Square() override { --*alive_; }
  int corners() const override { return 4; }
  const char* name() const override { return "square"; }

  std::uint32_t count() { return addRef(), release(); }

 private:
  int* alive_;
};

TEST(ObjPtr, CopiesMovesResetsAttachAndDetachCountReferences) {
  int alive = 0;
  objptr_t<Square> a = qor::makeObject<Square>(&alive);
  {
    objptr_t<Square> b = a, c = std::move(b);
    EXPECT_FALSE(b);
    EXPECT_EQ(a->count(), 2u);
    objptr_t<IShape> shape = c;  // to a base interface
    shape = shape;
    EXPECT_EQ(a->count(), 3u);
    EXPECT_EQ(shape->corners(), 4);
  }
  EXPECT_EQ(a->count(), 1u);
  Square* raw = a.detach();
  EXPECT_FALSE(a);
  EXPECT_EQ(alive, 1);
  a.attach(raw);  // adopts the detached reference, adds none
  EXPECT_EQ(a->count(), 1u);

  objptr_t<Square> other = qor::makeObject<Square>(&alive);
  a.reset(other.get());  // releases the first square
  EXPECT_EQ(alive, 1);
  EXPECT_EQ(a, other);
  EXPECT_EQ(other->count(), 2u);
  a = nullptr;
  EXPECT_EQ(a, nullptr);
  other.attach(nullptr);
  EXPECT_EQ(alive, 0);
}

TEST(ObjPtr, QueryFindsImplementedInterfacesOnly) {
  int alive = 0;
  objptr_t<IShape> shape = qor::makeObject<Square>(&alive);
  objptr_t<INamed> named = shape.query<INamed>();
  ASSERT_TRUE(named);
  EXPECT_STREQ(named->name(), "square");
  EXPECT_TRUE(shape.query<qor::IRefCounted>());
  EXPECT_FALSE(shape.query<IUnused>());
  EXPECT_FALSE(objptr_t<IShape>().query<INamed>());

  void* out = &alive;
  EXPECT_EQ(shape->queryInterface(IUnused::kIid, &out), qor::kResultNoInterface);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(shape->queryInterface(IUnused::kIid, nullptr), qor::kResultPointer);

  // An id equal by name but at another address still matches.
  const qor::InterfaceId sameName{"test::INamed"};
  EXPECT_EQ(shape->queryInterface(sameName, &out), qor::kResultOk);
  static_cast<INamed*>(out)->release();

  shape.reset();
  EXPECT_EQ(alive, 1);  // the queried reference keeps it
  named.reset();
  EXPECT_EQ(alive, 0);
}

TEST(ObjPtr, CountingIsSafeAcrossThreads) {
  int alive = 0;
  objptr_t<Square> shared = qor::makeObject<Square>(&alive);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([shared] { for (int i = 0; i < 10000; ++i) objptr_t<Square> copy = shared; });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(shared->count(), 1u);
  shared.reset();
  EXPECT_EQ(alive, 0);
}

}  // namespace
