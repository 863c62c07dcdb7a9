#include "runtime/LineWriter.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <thread>

#include "runtime/Descriptor.h"

namespace tandemview {
namespace {

class LineWriterTest : public testing::Test {
 protected:
  LineWriterTest() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(::pipe(ends), 0);
    ours_ = Descriptor(ends[1]);
    readers_ = Descriptor(ends[0]);
  }

  /// Reads until what was read ends so. The test ends if that does not happen.
  std::string readTo(const std::string& end) {
    std::string text;
    std::array<char, 4096> buffer;
    while (!text.ends_with(end)) {
      const ssize_t count = ::read(readers_.get(), buffer.data(), buffer.size());
      if (count <= 0) return text + " - and then the end";
      text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return text;
  }

  Descriptor ours_;
  Descriptor readers_;
};

TEST_F(LineWriterTest, AReaderThatStopsStopsNobodyAndHearsWhatItHasMissed) {
  const std::string line(99, 'x');
  LineWriter writer(ours_.get());
  constexpr std::size_t count = 10'000;  // a megabyte
  const auto start = std::chrono::steady_clock::now();
  for (std::size_t number = 0; number < count; ++number) writer.add(line);
  writer.finish(0.1);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));

  const std::string text = readTo("before\n");
  const std::size_t notice = text.find("⚠️ ");
  ASSERT_NE(notice, std::string::npos);
  const std::size_t written = notice / (line.size() + 1);
  EXPECT_GE(written * (line.size() + 1), LineWriter::mostWaitingBytes - line.size());
  EXPECT_EQ(text.substr(notice), "⚠️ " + std::to_string(count - written) +
                                     " lines are missing here: nobody has read what came before\n");
  writer.add("then");
  EXPECT_EQ(readTo("\n"), "then\n");
}

TEST_F(LineWriterTest, WhatIsPrintedLastIsWaitedFor) {
  LineWriter writer(ours_.get());
  ::fcntl(ours_.get(), F_SETFL, O_NONBLOCK);
  const std::string longLine(LineWriter::mostWaitingBytes - 100, 'x');
  std::string read;
  std::thread reader([&] { read = readTo("last\n"); });
  writer.add(longLine);
  writer.add("last");
  writer.finish(10);
  reader.join();
  EXPECT_EQ(read.size(), longLine.size() + 6);

  readers_ = Descriptor();
  writer.add("to nobody");
  writer.finish(10);
}

}  // namespace
}  // namespace tandemview
