// The trace file as a tracer writes it: levels, line sizes, the line format, turning it on and off, and failures; and
// the process-wide tracer, created once however many threads race to it, in a child process so that it sees the first
// creation. The tracer's last line at process exit is tested end to end (tests/js/tracing.test.js).
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "install/tracing/tracer.h"
#include "install/tracing/trace_site.h"
#include "machine_fixture.h"

namespace {

using installer::tracing::existingTracer;
using installer::tracing::getTracer;
using installer::tracing::Tracer;
using Strings = std::vector<std::string>;

class TracerFile : public tracing_test::MachineTest {
 protected:
  void SetUp() override {
    MachineTest::SetUp();
    tracer_ = std::make_unique<Tracer>(creationTime());
    ASSERT_EQ(tracer_->setLogDirectory(u"C:\\Logs"), 0u);
  }
  // Destroys the tracer, which writes its last line, and reads the file.
  Strings finish() {
    tracer_.reset();
    return traceLines(traceFile());
  }
  std::unique_ptr<Tracer> tracer_;
};

// Levels, turning off and on, and a full disk are tested end to end (tests/js/tracing.test.js). The file of an
// earlier run in the same minute is appended to.
TEST_F(TracerFile, ALongLineIsDroppedWholeBelowLevel1000AndWrittenWholeFrom1000) {
  std::ofstream(traceFile(), std::ios::binary) << "00:00:00\tearlier run\r\n";
  ASSERT_EQ(tracer_->openLogFile(), 0u);
  const std::u16string line600(600, u'x');
  tracer_->traceText(line600, 700);
  tracer_->traceText(std::u16string(512, u'y'), 700);  // fits exactly
  tracer_->setTraceLevel(999);
  tracer_->traceText(line600, 700);
  tracer_->setTraceLevel(1000);
  tracer_->traceText(line600, 700);
  // Three bytes a unit: 1500 bytes from a 512-byte record.
  tracer_->traceText(std::u16string(500, u'\u20ac'), 700);
  std::string euros;
  for (int i = 0; i < 500; ++i) euros += "\xe2\x82\xac";
  EXPECT_EQ(finish(), (Strings{"earlier run", std::string(512, 'y'), std::string(600, 'x'), euros, "tracer closed"}));
}

TEST_F(TracerFile, EachLineIsTimeStampTabTextCrLf) {
  ASSERT_EQ(tracer_->openLogFile(), 0u);
  const time_t before = ::time(nullptr);
  INSTALLER_TRACE_TO(*tracer_, 700) << installer::tracing::kServicePrefix << "Application run";
  tracer_->traceText(u"one\ntwo", 700);  // stored as CR LF, like a text-mode file
  const time_t after = ::time(nullptr);
  tracer_.reset();
  const std::string content = read(traceFile()), stamp = "[0-2][0-9]:[0-5][0-9]:[0-5][0-9]\t";
  EXPECT_TRUE(std::regex_match(content, std::regex(stamp + "bl\tApplication run\r\n" + stamp + "one\r\ntwo\r\n" +
                                                   stamp + "tracer closed\r\n")))
      << content;
  // The stamp is the local (here UTC) time of writing.
  char expected[16];
  bool matched = false;
  for (time_t t = before; t <= after && !matched; ++t) {
    std::tm utc{};
    ::gmtime_r(&t, &utc);
    ::strftime(expected, sizeof expected, "%H:%M:%S\t", &utc);
    matched = content.compare(0, 9, expected) == 0;
  }
  EXPECT_TRUE(matched) << content.substr(0, 9);
}

TEST_F(TracerFile, AMissingDirectoryFailsTheOpenAndTracingStaysOff) {
  Tracer tracer(creationTime());
  tracer.setLogDirectory(u"C:\\NoSuchDir");
  EXPECT_EQ(tracer.openLogFile(), 0x8000004Bu);
  EXPECT_FALSE(tracer.isLogFileOpen());
  tracer.traceText(u"lost", 700);
  EXPECT_FALSE(exists(hostPath("NoSuchDir")));
  // Once the directory exists, the next open succeeds.
  ASSERT_EQ(::mkdir(hostPath("NoSuchDir").c_str(), 0755), 0);
  EXPECT_EQ(tracer.openLogFile(), 0u);
  // A directory where the trace file should be.
  ASSERT_EQ(::mkdir(traceFile().c_str(), 0755), 0);
  EXPECT_EQ(tracer_->openLogFile(), 0x8000004Bu);
  EXPECT_FALSE(tracer_->isLogFileOpen());
}

TEST_F(TracerFile, ConcurrentLinesNeverInterleave) {
  ASSERT_EQ(tracer_->openLogFile(), 0u);
  tracer_->setTraceLevel(1000);
  constexpr int kThreads = 8, kLines = 300;
  auto lineOf = [](int thread, int i) {
    // Lengths vary from a few bytes to beyond one record.
    return "t" + std::to_string(thread) + " " + std::to_string(i) + " " +
           std::string((thread * 131 + i * 17) % 700, static_cast<char>('a' + thread));
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] { for (int i = 0; i < kLines; ++i) INSTALLER_TRACE_TO(*tracer_, 700) << lineOf(t, i); });
  for (std::thread& thread : threads) thread.join();
  Strings lines = finish();
  ASSERT_EQ(lines.size(), size_t{kThreads * kLines + 1});
  EXPECT_EQ(lines.back(), "tracer closed");
  lines.pop_back();
  // Every line is whole, and each thread's lines come in its order.
  std::vector<int> next(kThreads, 0);
  for (const std::string& line : lines) {
    const int thread = line[1] - '0';
    ASSERT_TRUE(thread >= 0 && thread < kThreads) << line;
    ASSERT_EQ(line, lineOf(thread, next[thread]++));
  }
}

class ProcessTracer : public tracing_test::MachineTest {
 protected:
  // Runs `body` in a child that ends through exit(), so static destructors run; its exit status is body's result.
  static int inChild(const std::function<int()>& body) {
    pid_t child = ::fork();
    if (child == 0) std::exit(body());
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 100 + WTERMSIG(status);
  }
};

TEST_F(ProcessTracer, IsCreatedOnceWhenThreadsRaceToIt) {
  const int status = inChild([] {
    if (existingTracer() != nullptr) return 1;
    std::atomic<bool> go{false};
    std::vector<installer::tracing::Tracer*> seen(8);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < seen.size(); ++i)
      threads.emplace_back([&, i] { while (!go.load()) continue; seen[i] = getTracer().get(); });
    go = true;
    for (std::thread& t : threads) t.join();
    for (auto* tracer : seen) if (tracer == nullptr || tracer != seen[0]) return 2;
    return existingTracer().get() != seen[0] || &installer::tracing::siteTracer() != seen[0] ? 3 : 0;
  });
  EXPECT_EQ(status, 0);
}

}  // namespace
