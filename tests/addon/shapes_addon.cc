// Test services that exercise every shape of the binder, the conversions and the error translation.
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <thread>
#include <vector>

#include "framework/allocator.h"
#include "framework/basic_string.h"
#include "framework/check.h"
#include "framework/result.h"
#include "async_probe.h"
#include "install/installer_ornel/interop_helpers/module_record.h"
#include "install/installer_ornel/interop_helpers/object_registry.h"

namespace shapes {

using platform::wstring;
using async_probe::Level;

struct Sample { wstring name; std::uint32_t count = 0; std::int32_t delta = 0; bool flag = false; Level level; };

}  // namespace shapes

namespace node_interop::helpers {

template <>
struct RecordFields<shapes::Sample> {
  static constexpr auto fields = std::make_tuple(
      field("name", &shapes::Sample::name), field("count", &shapes::Sample::count),
      field("delta", &shapes::Sample::delta), field("flag", &shapes::Sample::flag),
      field("level", &shapes::Sample::level));
};

}  // namespace node_interop::helpers

namespace shapes {

using node_interop::helpers::bindMethod;
using node_interop::helpers::ObjectHolder;

class Shapes {
 public:
  static constexpr const char kName[] = "shapes";

  // No arguments.
  bool yes() { return true; }
  std::int32_t minusOne() { return -1; }
  std::uint32_t bigUnsigned() { return 0xFFFFFFFFu; }
  wstring text() { return wstring(u"a\0b", 3); }
  std::vector<wstring> names() { return {u"one", u"two", u""}; }
  std::vector<std::vector<wstring>> rows() { return {{u"a", u"b"}, {}, {u"c"}}; }

  // One argument, echoed back so the test sees the converted value.
  std::int32_t fromBoolean(bool& value) { return value ? 1 : 0; }
  std::int32_t fromUnsigned(std::uint32_t& value) { return static_cast<std::int32_t>(value); }
  std::int32_t fromSigned(const std::int32_t& value) { return value; }
  wstring echo(const wstring& value) { return value; }
  std::vector<std::vector<wstring>> split(const wstring& value) {
    std::vector<std::vector<wstring>> result(1);
    for (WCHAR c : value) result[0].push_back(wstring(1, c));
    return result;
  }

  // The list always comes back with three records, the existing ones changed: growth and shrinking show.
  std::int32_t threeSamples(std::vector<Sample>& samples) {
    auto before = static_cast<std::int32_t>(samples.size());
    samples.resize(3);
    for (size_t i = 0; i < samples.size(); ++i) samples[i].count += 1, samples[i].level.amount = std::uint32_t(i);
    return before;
  }

  // A record in, changed in place; the result is its flag.
  bool touch(Sample& sample) {
    sample.name += u"!", sample.count += 1, sample.level.label += u"+";
    return sample.flag;
  }

  // Out-parameters of the scalar kinds.
  std::int32_t setText(wstring& value) { return value = u"written", 0; }
  std::int32_t setNumber(std::int32_t& value) { return value = 42, 0; }
  std::int32_t setFlag(bool& value) { return value = !value, 0; }

  // Two arguments, converted first to last, then last to first.
  std::int32_t textAndNumber(const wstring& text, std::int32_t& number) { return std::int32_t(text.size()) * 1000 + number; }
  std::int32_t flagAndLevel(bool& flag, std::uint32_t& level) { return static_cast<std::int32_t>(level) + (flag ? 1 : 0); }

  // Failures.
  std::int32_t fail(const wstring& text) { throw std::runtime_error("msiProductInfo error: " + std::to_string(text.size())); }
  std::int32_t failLogic() { throw std::logic_error("Not implemented"); }

  // The framework's own failures, as service code meets them.
  std::int32_t failCheck(std::uint32_t& win32Error) { return QOR_CHECK(qor::resultFromWin32Error(win32Error)); }
  std::int32_t failLength(std::int32_t& where) {
    static const WCHAR unit[] = u"x";
    qor::string_t text(u"abc");
    if (where == 0) qor::string_t tooLong(unit, qor::string_t::kMaxSize + 1);
    if (where == 1) text.reserve(qor::string_t::kMaxSize);
    if (where == 2) text.insert(1, unit, qor::string_t::kMaxSize - 3);
    return static_cast<std::int32_t>(text.size());
  }
  std::int32_t failAllocation() {
    qor::string_t(qor::makeObject<RefusingAllocator>()).append(u"longer than the inline buffer");
    return 0;
  }

  class RefusingAllocator : public qor::RefCounted<qor::IAllocator> {
   public:
    void* allocate(std::size_t) noexcept override { return nullptr; }
    void deallocate(void*, std::size_t) noexcept override {}
  };

  // Blocks its worker for `ms` milliseconds, then answers it.
  std::int32_t sleep(std::int32_t& ms) { return std::this_thread::sleep_for(std::chrono::milliseconds(ms)), ms; }

  static void bindMethods(ObjectHolder& holder) {
    async_probe::bindMethods(
        holder, "yes", &Shapes::yes, "minusOne", &Shapes::minusOne, "bigUnsigned", &Shapes::bigUnsigned, "text",
        &Shapes::text, "names", &Shapes::names, "rows", &Shapes::rows, "fromBoolean", &Shapes::fromBoolean,
        "fromUnsigned", &Shapes::fromUnsigned, "fromSigned", &Shapes::fromSigned, "echo", &Shapes::echo, "split",
        &Shapes::split, "threeSamples", &Shapes::threeSamples, "touch", &Shapes::touch, "setText", &Shapes::setText,
        "setNumber", &Shapes::setNumber, "setFlag", &Shapes::setFlag, "textAndNumber", &Shapes::textAndNumber,
        "flagAndLevel", &Shapes::flagAndLevel, "fail", &Shapes::fail, "failLogic", &Shapes::failLogic, "failCheck",
        &Shapes::failCheck, "failLength", &Shapes::failLength, "failAllocation", &Shapes::failAllocation, "sleep",
        &Shapes::sleep);
  }
};

// A second service, so that a method of one service called on the other can be tested.
class Other {
 public:
  static constexpr const char kName[] = "other";
  std::int32_t seven() { return 7; }
  static void bindMethods(ObjectHolder& holder) { bindMethod(holder, "seven", &Other::seven); }
};

// A service whose factory fails: query must leave no cache entry.
class Broken {
 public:
  static constexpr const char kName[] = "broken";
  Broken() {
    if (++attempts_ < 3) throw std::runtime_error("factory failed " + std::to_string(attempts_));
  }
  std::int32_t attempts() { return attempts_; }
  static void bindMethods(ObjectHolder& holder) { bindMethod(holder, "attempts", &Broken::attempts); }

 private:
  static inline int attempts_ = 0;
};

void initialize(v8::Local<v8::Object> exports) {
  auto& registry = node_interop::helpers::ObjectRegistry::instance();
  node_interop::helpers::registerService<Shapes>(registry);
  node_interop::helpers::registerService<Other>(registry);
  node_interop::helpers::registerService<Broken>(registry);
  async_probe::registerServices(registry);
  node_interop::helpers::installQuery(exports);
}

}  // namespace shapes

INSTALLER_ORNEL_MODULE(installer_ornel_test, shapes::initialize)
