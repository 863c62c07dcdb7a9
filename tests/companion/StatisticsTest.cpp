#include "companion/Statistics.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace tandemview {
namespace {

TEST(StatisticsTest, SumsUpARun) {
  Statistics statistics;
  statistics.connectionDidStart();
  statistics.connectionDidStart();
  const FrameSize upright{644, 1398};
  const FrameSize turned{1398, 644};
  // The clock of the second picture is the first one's: it was not drawn anew.
  statistics.frameDidArrive({10.002, 10.002, 10.000, upright, 99'000, 1000});
  statistics.frameDidArrive({10.102, 10.102, 10.096, upright, 99'000, 3000});
  // The host's clock is 5000 s ahead, and then unknown.
  statistics.frameDidArrive({10.202, 5010.202, 5010.198, turned, 50'101'900, 2000});
  EXPECT_NEAR(statistics.lastLatency().value_or(0), 12, 0.11);
  statistics.frameDidArrive({10.302, std::nullopt, 777, upright, std::nullopt, 2000});
  EXPECT_EQ(statistics.lastLatency(), std::nullopt);
  const nlohmann::ordered_json summary = statistics.summary();
  EXPECT_EQ(summary["frames"], 4);
  EXPECT_NEAR(summary["framesPerSecond"].get<double>(), 10, 1e-6);
  EXPECT_EQ(summary["bytesPerFrame"].dump(), R"({"min":1000,"median":2000,"max":3000})");
  EXPECT_NEAR(summary["sentToReceived"]["p50"].get<double>(), 4, 1e-6);
  EXPECT_NEAR(summary["sentToReceived"]["max"].get<double>(), 6, 1e-6);
  EXPECT_NEAR(summary["drawnToReceived"]["p50"].get<double>(), 12, 0.11);
  EXPECT_NEAR(summary["drawnToReceived"]["max"].get<double>(), 102, 0.11);
  EXPECT_TRUE(summary["pingRoundTrip"].is_null());
  EXPECT_EQ(summary["reconnects"], 1);
  EXPECT_EQ(summary["sizes"].dump(),
            R"([{"width":644,"height":1398,"frames":2},{"width":1398,"height":644,"frames":1},)"
            R"({"width":644,"height":1398,"frames":1}])");
}

TEST(StatisticsTest, KeepsBoundedSamples) {
  Distribution distribution;
  for (int value = 0; value < 1'000'000; ++value) distribution.add(value);
  EXPECT_EQ(distribution.least(), 0);
  EXPECT_EQ(distribution.greatest(), 999'999);
  EXPECT_NEAR(distribution.percentile(0.5), 500'000, 20'000);
  EXPECT_NEAR(distribution.percentile(0.99), 990'000, 5'000);

  Statistics statistics;
  for (int count = 0; count < 1000; ++count) statistics.faultDidOccur({"pong", std::to_string(count)});
  EXPECT_EQ(statistics.faultDidOccur({"size", "small"}), 1U);
  EXPECT_EQ(statistics.summary()["faultCount"], 1001);
  EXPECT_EQ(statistics.summary()["faults"].dump(),
            R"([{"kind":"pong","count":1000,"first":"0"},{"kind":"size","count":1,"first":"small"}])");
}

}  // namespace
}  // namespace tandemview
