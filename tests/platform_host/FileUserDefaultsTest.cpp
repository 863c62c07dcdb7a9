#include "platform/linux/FileUserDefaults.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "fakes/LogRecorder.h"
#include "support/TemporaryDirectory.h"

namespace tandemview {
namespace {

TEST(FileUserDefaultsTest, KeepsEveryTypeAcrossRuns) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/new/folder/settings.json";
  {
    FileUserDefaults defaults(path);
    EXPECT_FALSE(defaults.string("quality"));
    defaults.setString("quality", "sharp");
    defaults.setBoolean("launch", true);
    defaults.setDate("made", 1700000000.25);
  }
  const FileUserDefaults defaults(path);
  EXPECT_EQ(defaults.string("quality"), "sharp");
  EXPECT_EQ(defaults.boolean("launch"), true);
  EXPECT_EQ(defaults.date("made"), 1700000000.25);
  EXPECT_FALSE(defaults.string("launch")) << "another type is no value";
  EXPECT_FALSE(defaults.date("quality"));
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST(FileUserDefaultsTest, ADamagedFileIsSetAsideAndNeverStopsTheProgram) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/settings.json";
  for (const std::string& content :
       {std::string("{\"quality\": \"sh"), std::string("[1]"), std::string("\xff\0\xfe", 3)}) {
    std::ofstream(path) << content;
    LogRecorder log;
    FileUserDefaults defaults(path);
    EXPECT_EQ(log.take().size(), 1u);
    EXPECT_TRUE(std::filesystem::exists(path + ".damaged"));
    defaults.setString("quality", "sharp");
    EXPECT_EQ(FileUserDefaults(path).string("quality"), "sharp");
  }
  LogRecorder log;
  FileUserDefaults unwritable("/proc/tandemview/settings.json");
  unwritable.setString("quality", "sharp");
  EXPECT_EQ(unwritable.string("quality"), "sharp") << "for this run";
  EXPECT_EQ(log.take().size(), 1u);
}

}  // namespace
}  // namespace tandemview
