#include "image/file_io.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>

namespace tellurine {
namespace {

namespace fs = std::filesystem;

// What a file holds, or nothing when it cannot be read.
std::vector<std::uint8_t> FileBytes(const std::string& path) {
    std::vector<std::uint8_t> read;
    std::string error;
    EXPECT_TRUE(ReadFileBytes(path, read, 1 << 20, error)) << path << ": " << error;
    return read;
}

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
    const std::vector<std::uint8_t> second = {4, 5}, third = {6};
    ASSERT_TRUE(WriteFileAtomically(path, second, error)) << error;
    EXPECT_EQ(FileBytes(path), second);
    FilePieces pieces;
    pieces.Add(third);
    ASSERT_TRUE(WritePiecesAtomically(path, pieces, -1, error)) << error;
    EXPECT_EQ(FileBytes(path), third);
    struct stat st {};
    ::stat(path.c_str(), &st);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    EXPECT_EQ(EntriesInDir(), 1u);  // no temporary file left behind
}

TEST_F(FileIo, FailedWriteLeavesNothingBehind) {
    // The target is a folder: the rename fails, the folder survives, the temporary file is gone;
    // the same through a replacer that holds an old file for reuse.
    const fs::path folder = dir_ / "taken";
    fs::create_directories(folder / "inside");
    const std::vector<std::uint8_t> bytes = {1};
    std::string error;
    FileReplacer replacer;
    ASSERT_TRUE(replacer.Write((dir_ / "old").string(), bytes, error));
    ASSERT_TRUE(replacer.Write((dir_ / "old").string(), bytes, error));
    using Writer = std::function<bool(const std::string&)>;
    FilePieces pieces;
    pieces.Add(bytes);
    for (const Writer& write : {Writer([&](const std::string& path) { return WriteFileAtomically(path, bytes, error); }),
                                Writer([&](const std::string& path) { return replacer.Write(path, bytes, error); }),
                                Writer([&](const std::string& path) {
                                    return WritePiecesAtomically(path, pieces, -1, error);
                                })}) {
        error.clear();
        EXPECT_FALSE(write(folder.string()));
        EXPECT_FALSE(error.empty());
        EXPECT_TRUE(fs::is_directory(folder / "inside"));
        EXPECT_EQ(EntriesInDir(), 3u);  // the folder, "old" and the replacer's old "old"
        EXPECT_FALSE(write((dir_ / "missing" / "x").string()));
    }
}

std::vector<std::uint8_t> Content(std::size_t size, std::uint8_t seed) {
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(seed + i * 7);
    return bytes;
}

std::vector<std::uint8_t> ReadFd(int fd) {
    std::vector<std::uint8_t> bytes(1 << 16);
    const ssize_t n = ::pread(fd, bytes.data(), bytes.size(), 0);
    bytes.resize(n < 0 ? 0 : static_cast<std::size_t>(n));
    return bytes;
}

// A file made of pieces of a source file (joined where they meet in it, or where zeros lie
// between them in it and as many are added between them), zeros and bytes of their own: written
// as the bytes in order, whether the source's pieces are copied from its file or from memory.
TEST_F(FileIo, PiecesAreWrittenInOrderCopiedFromTheirSource) {
    std::vector<std::uint8_t> source = Content(70000, 3);
    std::fill(source.begin() + 1003, source.begin() + 1008, 0);  // a gap of zeros
    std::fill(source.begin() + 2000, source.begin() + 2003, 0);
    const std::string sourcePath = (dir_ / "source").string();
    std::string error;
    ASSERT_TRUE(WriteFileAtomically(sourcePath, source, error));
    const std::vector<std::uint8_t> other = Content(33, 200);

    FilePieces pieces(source);
    std::vector<std::uint8_t> expected;
    const auto add = [&](std::size_t from, std::size_t to) {
        pieces.Add(std::span(source).subspan(from, to - from));
        expected.insert(expected.end(), source.begin() + static_cast<std::ptrdiff_t>(from),
                        source.begin() + static_cast<std::ptrdiff_t>(to));
    };
    const auto zeros = [&](std::size_t count) {
        pieces.AddZeros(count);
        expected.insert(expected.end(), count, 0);
    };
    const std::span<std::uint8_t> made = pieces.Make(3);
    made[0] = 7;
    made[2] = 9;
    expected.insert(expected.end(), made.begin(), made.end());
    add(1, 500);
    add(500, 1003);  // meets the one before: joined
    zeros(5);
    add(1008, 1900);  // the source's own zeros between: joined
    zeros(2);
    add(1902, 2000);  // two bytes that are not zeros in the source between: a piece of its own
    zeros(2);
    add(2003, 2100);  // three zeros in the source, two added: a piece of its own
    pieces.Add(other);
    expected.insert(expected.end(), other.begin(), other.end());
    zeros(5000);
    add(2100, 69999);  // long: copied file to file
    zeros(1);
    EXPECT_EQ(pieces.Size(), expected.size());
    std::vector<std::int64_t> offsets;
    for (const FilePieces::Piece& piece : pieces.Pieces()) offsets.push_back(piece.sourceOffset);
    EXPECT_EQ(offsets, (std::vector<std::int64_t>{-1, 1, -1, 1902, -1, 2003, -1, -1, -1, 2100, -1}));
    std::vector<std::uint8_t> joined;
    pieces.AppendTo(joined);
    EXPECT_EQ(joined, expected);

    const int fd = ::open(sourcePath.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    for (const int sourceFd : {fd, -1}) {
        const std::string path = (dir_ / "made").string();
        ASSERT_TRUE(WritePiecesAtomically(path, pieces, sourceFd, error, Durability::NoFlush)) << error;
        EXPECT_EQ(FileBytes(path), expected) << sourceFd;
    }
    ::close(fd);
}

// Three runs over the same names, each file a different size from one run to the next (longer,
// shorter, across block boundaries, empty): every file holds the last run's bytes, keeps the
// mode it was given, the second and third runs write into the storage of the files they replace,
// and nothing is left beside the files once the writer is gone.
TEST_F(FileIo, ReplacerRewritesOldFilesInPlaceOfNewOnes) {
    const std::vector<std::vector<std::size_t>> runs = {
        {10, 5000, 0, 9000, 4096}, {9000, 10, 4097, 0, 100}, {4096, 4096, 12000, 1, 5000}};
    std::map<ino_t, int> inodes;  // the inodes of the first run's files
    for (std::size_t run = 0; run < runs.size(); ++run) {
        FileReplacer writer;
        for (std::size_t i = 0; i < runs[run].size(); ++i) {
            const std::string path = (dir_ / std::to_string(i)).string();
            std::string error;
            ASSERT_TRUE(writer.Write(path, Content(runs[run][i], static_cast<std::uint8_t>(run * 31 + i)), error))
                << error;
            if (run == 0 && i == 1) ::chmod(path.c_str(), 0604);
        }
        EXPECT_EQ(writer.HoldsOldFile(), run > 0);  // the last file's old one, removed with the writer
        for (std::size_t i = 0; i < runs[run].size(); ++i) {
            const std::string path = (dir_ / std::to_string(i)).string();
            EXPECT_EQ(FileBytes(path), Content(runs[run][i], static_cast<std::uint8_t>(run * 31 + i)))
                << run << " " << i;
            struct stat st {};
            ::stat(path.c_str(), &st);
            EXPECT_TRUE(i != 1 || (st.st_mode & 0777) == 0604u) << std::oct << st.st_mode;
            if (run == 0) inodes[st.st_ino] = 1;
            EXPECT_TRUE(run != 1 || inodes.count(st.st_ino) == (i == 0 ? 0u : 1u)) << i;  // storage reused
        }
    }
    EXPECT_EQ(EntriesInDir(), runs[0].size());
}

// A replaced file that somebody else can still reach keeps its content: one with a second link,
// and one held open, are swapped out but never written over.
TEST_F(FileIo, ReplacerLeavesOldFilesOthersCanSee) {
    std::string error;
    const std::string linked = (dir_ / "linked").string(), open = (dir_ / "open").string();
    ASSERT_TRUE(WriteFileAtomically(linked, Content(300, 1), error));
    ASSERT_TRUE(WriteFileAtomically(open, Content(300, 2), error));
    ASSERT_EQ(::link(linked.c_str(), (dir_ / "other-name").c_str()), 0);
    const int reader = ::open(open.c_str(), O_RDONLY);
    ASSERT_GE(reader, 0);
    {
        FileReplacer writer;
        for (std::uint8_t round = 0; round < 3; ++round) {
            ASSERT_TRUE(writer.Write(linked, Content(300, static_cast<std::uint8_t>(10 + round)), error)) << error;
            ASSERT_TRUE(writer.Write(open, Content(300, static_cast<std::uint8_t>(20 + round)), error)) << error;
        }
    }
    EXPECT_EQ(FileBytes((dir_ / "other-name").string()), Content(300, 1));
    EXPECT_EQ(ReadFd(reader), Content(300, 2));
    ::close(reader);
    EXPECT_EQ(FileBytes(open), Content(300, 22));
    EXPECT_EQ(EntriesInDir(), 3u);
}

// Files on two disks in turn: the old file kept from one disk is never swapped with a file on the
// other, and none is left behind on either.
TEST_F(FileIo, ReplacerWritesAcrossDisks) {
    const fs::path memory = fs::path("/dev/shm") / ("tellurine-io-" + std::to_string(::getpid()));
    struct stat here {}, there {};
    if (!fs::create_directories(memory) || ::stat(dir_.c_str(), &here) != 0 || ::stat(memory.c_str(), &there) != 0 ||
        here.st_dev == there.st_dev) {
        fs::remove_all(memory);
        GTEST_SKIP() << "no second file system at /dev/shm";
    }
    std::string error;
    {
        FileReplacer writer;
        for (std::uint8_t round = 0; round < 3; ++round) {
            for (const fs::path& folder : {dir_, memory}) {
                ASSERT_TRUE(writer.Write((folder / "a").string(), Content(100, round), error)) << error;
                ASSERT_TRUE(writer.Write((folder / "b").string(), Content(200, round), error)) << error;
            }
        }
    }
    for (const fs::path& folder : {dir_, memory}) {
        EXPECT_EQ(FileBytes((folder / "b").string()), Content(200, 2));
        EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 2);
    }
    fs::remove_all(memory);
}

// Interrupted (Ctrl+C) while it replaces files, a job leaves the files and nothing beside them,
// and ends as the signal ends a process.
TEST_F(FileIo, ReplacerLeavesNothingBehindWhenInterrupted) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        RemoveKeptFilesOnInterrupt();
        FileReplacer writer;
        std::string error;
        for (unsigned n = 0; n < 2000000; ++n)
            writer.Write((dir_ / std::to_string(n % 4)).string(), Content(5000 + n % 7, static_cast<std::uint8_t>(n)), error);
        ::_exit(0);
    }
    for (int wait = 0; wait < 500 && !fs::exists(dir_ / "3"); ++wait) ::usleep(10000);
    ::usleep(50000);  // well into rewriting the four files, an old one kept throughout
    ASSERT_EQ(::kill(child, SIGINT), 0);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir_)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"0", "1", "2", "3"}));
}

// Both whole-file readers: the bytes of an empty, a small and a huge-page-sized file, the limit,
// and what is not a readable file.
TEST_F(FileIo, ReadsAreBounded) {
    for (const std::size_t size : {std::size_t{0}, std::size_t{1000}, std::size_t{(5u << 20) + 3}}) {
        std::string text(size, 'x');
        for (std::size_t i = 0; i < size; i += 4093) text[i] = static_cast<char>(i / 4093);
        const std::string path = (dir_ / "file.bin").string();
        std::ofstream(path, std::ios::binary) << text;
        const std::vector<std::uint8_t> expected(text.begin(), text.end());
        std::vector<std::uint8_t> out;
        Block block;
        std::string error;
        ASSERT_TRUE(ReadFileBytes(path, out, size, error)) << error;
        ASSERT_TRUE(ReadFileBlock(path, block, size, error)) << error;
        EXPECT_EQ(out, expected);
        EXPECT_TRUE(std::ranges::equal(block.bytes(), expected)) << size;
        if (size == 0) continue;
        EXPECT_FALSE(ReadFileBytes(path, out, size - 1, error));
        EXPECT_EQ(error, "file too large");
        EXPECT_FALSE(ReadFileBlock(path, block, size - 1, error));
        EXPECT_EQ(error, "file too large");
    }
    std::vector<std::uint8_t> out;
    Block block;
    std::string error;
    for (const std::filesystem::path& unreadable : {dir_, dir_ / "none"}) {
        EXPECT_FALSE(ReadFileBytes(unreadable.string(), out, 1000, error));
        EXPECT_FALSE(ReadFileBlock(unreadable.string(), block, 1000, error));
    }
}

TEST(FileNames, UnsafeCharactersBecomeUnderscores) {
    EXPECT_EQ(SafeFileNamePart("Ic\xC3\xA9ne 1/2:x.y_z-w"), "Ic__ne_1_2_x.y_z-w");
    // The ends of each safe range stay; their neighbours outside do not.
    EXPECT_EQ(SafeFileNamePart("azAZ09`{@[/:"), "azAZ09______");
    for (const char* odd : {"", ".", ".."}) EXPECT_EQ(SafeFileNamePart(odd), std::string("_") + odd);
}

}  // namespace
}  // namespace tellurine
