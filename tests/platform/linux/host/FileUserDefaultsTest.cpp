#include "platform/linux/host/FileUserDefaults.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fakes/LogRecorder.h"
#include "support/TemporaryDirectory.h"

namespace tandemview {
namespace {

class FileUserDefaultsTest : public testing::Test {
 protected:
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/settings.json";
  LogRecorder log;
};

TEST_F(FileUserDefaultsTest, KeepsEveryTypeAcrossRuns) {
  const std::string inNewFolder = directory.path() + "/new/folder/settings.json";
  {
    FileUserDefaults defaults(inNewFolder);
    EXPECT_FALSE(defaults.string("quality"));
    defaults.setString("quality", "sharp");
    defaults.setBoolean("launch", true);
    defaults.setDate("made", 1700000000.25);
  }
  const FileUserDefaults defaults(inNewFolder);
  EXPECT_EQ(defaults.string("quality"), "sharp");
  EXPECT_EQ(defaults.boolean("launch"), true);
  EXPECT_EQ(defaults.date("made"), 1700000000.25);
  EXPECT_FALSE(defaults.string("launch")) << "another type is no value";
  EXPECT_FALSE(defaults.date("quality"));
  struct stat status {};
  ASSERT_EQ(::stat(inNewFolder.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(FileUserDefaultsTest, ADamagedFileIsSetAsideAndNeverStopsTheProgram) {
  for (const std::string& content :
       {std::string(), std::string("{\"quality\": \"sh"), std::string("[1]"), std::string("\xff\0\xfe", 3)}) {
    std::ofstream(path) << content;
    FileUserDefaults defaults(path);
    EXPECT_EQ(log.take().size(), 1u);
    EXPECT_TRUE(std::filesystem::exists(path + ".damaged"));
    defaults.setString("quality", "sharp");
    EXPECT_EQ(FileUserDefaults(path).string("quality"), "sharp");
  }
}

TEST_F(FileUserDefaultsTest, WhyTheyCannotBeSavedIsTold) {
  std::filesystem::create_symlink("nowhere", directory.path() + "/configuration");
  const std::string behind = directory.path() + "/configuration/tandemview/settings.json";
  FileUserDefaults defaults(behind);
  defaults.setString("quality", "sharp");
  EXPECT_EQ(defaults.string("quality"), "sharp") << "for this run";
  EXPECT_EQ(log.take(), Lines{"⚠️ The settings can't be saved in " + behind + ": File exists"});
}

TEST_F(FileUserDefaultsTest, WhatIsNoReadableFileIsLeftAlone) {
  const std::vector<std::pair<const char*, std::function<void()>>> cases = {
      {"a directory", [&] { std::filesystem::create_directory(path); }},
      {"a FIFO that nobody writes to", [&] { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }},
      {"a device without an end", [&] { std::filesystem::create_symlink("/dev/zero", path); }},
      {"too large", [&] { std::ofstream(path) << std::string((1 << 20) + 1, ' '); }},
      {"a link to itself", [&] { std::filesystem::create_symlink(path, path); }}};
  for (const auto& [name, lay] : cases) {
    std::filesystem::remove(path);
    lay();
    const auto before = std::filesystem::symlink_status(path).type();
    FileUserDefaults defaults(path);
    EXPECT_EQ(log.take().size(), 1u) << name;
    defaults.setString("quality", "sharp");
    EXPECT_EQ(defaults.string("quality"), "sharp") << name;
    EXPECT_EQ(log.take().size(), 0u) << name;
    EXPECT_EQ(std::filesystem::symlink_status(path).type(), before) << name;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.path()), {}), 1) << name;
  }
}

TEST_F(FileUserDefaultsTest, ALinkStaysALink) {
  std::filesystem::create_symlink("second", path);
  std::filesystem::create_symlink("elsewhere/settings", directory.path() + "/second");
  for (const char* quality : {"sharp", "smooth"}) {  // the first writes the file
    FileUserDefaults(path).setString("quality", quality);
    EXPECT_TRUE(std::filesystem::is_symlink(path));
    EXPECT_EQ(FileUserDefaults(directory.path() + "/elsewhere/settings").string("quality"), quality);
  }
}

TEST_F(FileUserDefaultsTest, DeepValuesAreDropped) {
  std::ofstream(path) << "{\"foreign\":" << std::string(400'000, '[') << std::string(400'000, ']')
                      << ", \"quality\": \"sharp\"}";
  FileUserDefaults defaults(path);
  EXPECT_EQ(defaults.string("quality"), "sharp");
  defaults.setBoolean("launch", true);  // which writes all again
  EXPECT_EQ(FileUserDefaults(path).boolean("launch"), true);
}

}  // namespace
}  // namespace tandemview
