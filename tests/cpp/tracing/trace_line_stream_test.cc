// Building one line: text, numbers, formatting, and the record size rule.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "install/tracing/trace_line_stream.h"
#include "install/tracing/trace_record.h"
#include "install/tracing/tracer.h"

namespace {

using installer::tracing::TraceLineStream;
using installer::tracing::Tracer;
using installer::tracing::TraceRecord;

class LineStream : public ::testing::Test {
 protected:
  Tracer tracer_{0};
};

TEST_F(LineStream, ARecordAboveTheLevelHasNoBufferAndIgnoresAppends) {
  TraceRecord record(tracer_, 701);
  EXPECT_EQ(record.buffer(), nullptr);
  TraceLineStream stream(record);
  stream << "text" << 42;
  EXPECT_TRUE(stream.dropped());
  EXPECT_EQ(stream.length(), 0u);

  char* buffer = static_cast<char*>(std::malloc(8));
  EXPECT_EQ(tracer_.beginRecord(800, buffer, 512), 0u);
  EXPECT_EQ(buffer, nullptr);
}

TEST_F(LineStream, WideTextBecomesUtf8EvenWithLoneSurrogates) {
  TraceRecord record(tracer_, 700);
  TraceLineStream stream(record);
  const char16_t lone[] = {0xD800, u'x', 0xDC00, 0xDBFF};
  stream << u"a\u00e9\u20ac\U0001F600" << std::u16string_view(lone, 4);
  EXPECT_EQ(stream.text(), "a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\xed\xa0\x80x\xed\xb0\x80\xed\xaf\xbf");
}

TEST_F(LineStream, NumbersFollowTheBaseAndShowbase) {
  TraceRecord record(tracer_, 700);
  TraceLineStream s(record);
  s << 0 << ' ' << 1234567u << ' ' << -42 << ' ' << std::numeric_limits<std::int32_t>::min() << ' '
    << std::numeric_limits<std::uint32_t>::max() << ' ';
  s.setf(TraceLineStream::hex, TraceLineStream::basefield);
  s << 255u << ' ' << -1 << ' ';
  s.setf(TraceLineStream::showbase, TraceLineStream::showbase);
  s << 255u << ' ';
  s.setf(TraceLineStream::oct, TraceLineStream::basefield);
  s << 15 << ' ' << 8u;
  EXPECT_EQ(s.text(), "0 1234567 -42 -2147483648 4294967295 ff ffffffff 0xff 017 010");
}

TEST_F(LineStream, WidthAndFillPadOneItem) {
  TraceRecord record(tracer_, 700);
  TraceLineStream s(record);
  s.width(6);
  s << 42 << '|';
  s.fill('0');
  s.width(6);
  s.setf(TraceLineStream::internal, TraceLineStream::adjustfield);
  s << -42 << '|';
  s.width(6);
  s.setf(TraceLineStream::hex | TraceLineStream::showbase, TraceLineStream::basefield | TraceLineStream::showbase);
  s << 255u << '|';
  s.fill('.');
  s.width(5);
  s.setf(TraceLineStream::left, TraceLineStream::adjustfield);
  s << "ab" << '|';
  s.width(4);
  s.setf(0, TraceLineStream::adjustfield);
  s << u"\u00e9\u00e9" << '|' << 7u;  // width counts units; then it is 0 again
  EXPECT_EQ(s.text(), "    42|-00042|0x00ff|ab...|..\xc3\xa9\xc3\xa9|0x7");
  EXPECT_EQ(s.width(), 0u);
}

TEST_F(LineStream, BelowLevel1000ALineThatOutgrowsItsRecordIsDroppedWhole) {
  TraceRecord record(tracer_, 700);
  TraceLineStream s(record);
  s << std::string(300, 'a');
  s << std::string(300, 'b');
  EXPECT_TRUE(s.dropped());
  EXPECT_EQ(s.length(), 0u);
  EXPECT_EQ(s.capacity(), 0u);
  EXPECT_EQ(record.buffer(), nullptr);
  s << "more";
  EXPECT_EQ(s.length(), 0u);
}

TEST_F(LineStream, FromLevel1000TheRecordGrowsToTheLargerOfTheNeedAndTwiceItsSize) {
  tracer_.setTraceLevel(1000);
  TraceRecord record(tracer_, 700);
  TraceLineStream s(record);
  s << std::string(600, 'a');
  EXPECT_EQ(s.capacity(), 1024u);
  s << std::string(2000, 'b');
  EXPECT_EQ(s.capacity(), 2600u);
  EXPECT_EQ(s.length(), 2600u);
  EXPECT_EQ(s.text(), std::string(600, 'a') + std::string(2000, 'b'));
}

}  // namespace
