#include "image/file_io.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

namespace tellurine {
namespace {

namespace fs = std::filesystem;

class FileIo : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() / ("tellurine-io-" + std::to_string(::getpid()));
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }
    [[nodiscard]] std::size_t EntriesInDir() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(dir_), fs::directory_iterator()));
    }
    fs::path dir_;
};

TEST_F(FileIo, AtomicWriteReplacesAndKeepsTheMode) {
    const std::string path = (dir_ / "a.bin").string();
    std::string error;
    const std::vector<std::uint8_t> first = {1, 2, 3};
    ASSERT_TRUE(WriteFileAtomically(path, first, error)) << error;
    ::chmod(path.c_str(), 0640);
    const std::vector<std::uint8_t> second = {4, 5};
    ASSERT_TRUE(WriteFileAtomically(path, second, error)) << error;
    std::vector<std::uint8_t> read;
    ASSERT_TRUE(ReadFileBytes(path, read, 100, error));
    EXPECT_EQ(read, second);
    struct stat st {};
    ::stat(path.c_str(), &st);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    EXPECT_EQ(EntriesInDir(), 1u);  // no temporary file left behind
}

TEST_F(FileIo, FailedWriteLeavesNothingBehind) {
    // The target is a folder: the rename fails, the folder survives, the temporary file is gone.
    const fs::path folder = dir_ / "taken";
    fs::create_directories(folder / "inside");
    std::string error;
    const std::vector<std::uint8_t> bytes = {1};
    EXPECT_FALSE(WriteFileAtomically(folder.string(), bytes, error));
    EXPECT_FALSE(error.empty());
    EXPECT_TRUE(fs::is_directory(folder / "inside"));
    EXPECT_EQ(EntriesInDir(), 1u);
    EXPECT_FALSE(WriteFileAtomically((dir_ / "missing" / "x").string(), bytes, error));
}

TEST_F(FileIo, ReadsAreBounded) {
    const std::string path = (dir_ / "big.bin").string();
    std::ofstream(path) << std::string(1000, 'x');
    std::vector<std::uint8_t> out;
    std::string error;
    EXPECT_FALSE(ReadFileBytes(path, out, 999, error));
    EXPECT_EQ(error, "file too large");
    EXPECT_TRUE(ReadFileBytes(path, out, 1000, error));
    EXPECT_EQ(out.size(), 1000u);
    EXPECT_FALSE(ReadFileBytes(dir_.string(), out, 1000, error));
    EXPECT_FALSE(ReadFileBytes((dir_ / "none").string(), out, 1000, error));
}

}  // namespace
}  // namespace tellurine
