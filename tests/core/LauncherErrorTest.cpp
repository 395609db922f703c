#include "core/LauncherError.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <system_error>

#include "core/TextFile.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::core {
namespace {

std::string descriptionOfReading(const std::filesystem::path& file) {
  try {
    readText(file);
  } catch (const std::exception& error) {
    return localizedDescription(error);
  }
  return "no error";
}

TEST(LocalizedDescription, namesTheThingAndTheReason) {
  const tests::TemporaryFolder folder;
  tests::put(folder / "latin1", "caf\xE9");
  EXPECT_EQ(descriptionOfReading(folder / "absent"),
            (folder / "absent").string() + ": No such file or directory");
  EXPECT_EQ(descriptionOfReading(folder.path()), folder.path().string() + ": Is a directory");
  EXPECT_TRUE(
      descriptionOfReading(folder / "latin1").starts_with((folder / "latin1").string() + ": not UTF-8 text"));
  EXPECT_EQ(localizedDescription(std::filesystem::filesystem_error(
                "cannot copy", "/from", "/to", std::make_error_code(std::errc::file_exists))),
            "/to: File exists");
}

TEST(LocalizedDescription, leavesTheProgramsOwnTextAlone) {
  const LauncherError error(5, "Bootstrap failed: 5: Input/output error\n");
  EXPECT_EQ(localizedDescription(error), "Bootstrap failed: 5: Input/output error\n");
  EXPECT_EQ(error.domain, "ProviderLauncher");
  EXPECT_EQ(error.code, 5);
}

TEST(ReadSavedText, fallsBackOnlyWhenTheCurrentFileCannotBeRead) {
  const tests::TemporaryFolder folder;
  const auto current = folder / "current";
  const auto legacy = folder / "legacy";
  EXPECT_EQ(readSavedText(current, legacy), "");
  tests::put(legacy, "old");
  EXPECT_EQ(readSavedText(current, legacy), "old");
  tests::put(current, "\xFF");
  EXPECT_EQ(readSavedText(current, legacy), "old");
  tests::put(current, "");
  EXPECT_EQ(readSavedText(current, legacy), "");
}

}  // namespace
}  // namespace ferrin::core
