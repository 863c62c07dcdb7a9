#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "runtime/AtomicFile.h"
#include "runtime/FileContents.h"
#include "support/TemporaryDirectory.h"

namespace tandemview {
namespace {

namespace fs = std::filesystem;

TEST(FileTest, ReplacesAFileAsAWholeAndReadsItBack) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/file";
  const std::string other = directory.path() + "/other";
  ASSERT_TRUE(writeFileAtomically(other, "other"));
  fs::create_symlink(other, path);
  for (const std::string& text : {std::string(), std::string("short"), std::string(10'000, 'x')}) {
    EXPECT_TRUE(writeFileAtomically(path, text));
    EXPECT_EQ(contentsOfRegularFile(path, text.size()), text) << "all that the limit allows";
  }
  EXPECT_EQ(contentsOfRegularFile(other), "other") << "a link is not followed";
  EXPECT_EQ(contentsOfRegularFile(path, 9'999).error().description, "it has more than 9999 bytes");
  EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST(FileTest, FailuresAreToldAndLeaveNothingBehind) {
  const TemporaryDirectory directory;
  const std::string missing = directory.path() + "/missing/file";
  EXPECT_EQ(writeFileAtomically(missing, "text").error(), posixError(ENOENT));
  EXPECT_EQ(contentsOfRegularFile(missing).error(), posixError(ENOENT));
  EXPECT_EQ(contentsOfRegularFile(directory.path()).error().description, "it is no regular file");
  fs::create_directory(directory.path() + "/taken");
  EXPECT_EQ(writeFileAtomically(directory.path() + "/taken", "text").error(), posixError(EISDIR));
  EXPECT_EQ(std::distance(fs::directory_iterator(directory.path()), {}), 1);
}

}  // namespace
}  // namespace tandemview
