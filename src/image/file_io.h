// Whole-file reads with a size limit, and writes that never leave a half-written file.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "image/block.h"

namespace tellurine {

// A path's extension with its dot, in lower case (".ico"); empty when it has none.
std::string LowerExtension(const std::string& path);

// A name made safe as part of a file name: every character other than ASCII letters, digits, '.',
// '_' and '-' becomes '_', and a name that is empty, "." or ".." gets a '_' in front.
std::string SafeFileNamePart(std::string name);

// Reads the whole file. False, with a reason in `error`, when it cannot be opened or read, or
// when it is larger than `limit` bytes.
bool ReadFileBytes(const std::string& path, std::vector<std::uint8_t>& out, std::size_t limit,
                   std::string& error);

// The same into a block, for a large file read once: nothing is zeroed before the read, and a
// file of megabytes comes into huge pages, a fault for each 2 MiB instead of each 4 KiB. A file
// past kMaxBlockBytes is too large.
bool ReadFileBlock(const std::string& path, Block& out, std::size_t limit, std::string& error);

// How hard a write insists that the bytes reached the disk before the file replaces the old one.
enum class Durability {
    Flush,    // the user's own documents: flushed before the rename
    NoFlush,  // outputs that can be made again (extracted pictures): renamed without waiting
};

// Writes `bytes` to a new file beside `path` and renames it over `path` only once everything was
// written. On failure the temporary file is removed, an existing file at `path` is left as it
// was, and `error` says why. A file that is replaced keeps its permission bits. Safe to call
// from several threads.
bool WriteFileAtomically(const std::string& path, std::span<const std::uint8_t> bytes, std::string& error,
                         Durability durability = Durability::Flush);

// Writes the whole of `bytes` into the regular file that is at `path`, keeping the file itself
// (not a link): for a file another program made and reads back through its own handle, where a
// new file renamed over it would never reach it. A failure leaves the file empty; false with the
// reason in `error`.
bool WriteIntoFile(const std::string& path, std::span<const std::uint8_t> bytes, std::string& error);

// A file given as pieces, in order: spans of bytes that lie elsewhere (a mapped file, a buffer the
// caller keeps) and bytes made for it, which the pieces hold. Spans that lie in the source, the
// bytes of the file the new one is made from, are joined where they meet there, or where only
// zeros lie between them there and as many zeros come between them in the new file: long
// stretches of the source stay one piece, which the writer can have the kernel copy file to file.
// Moving the pieces keeps every span valid; copying is not allowed.
class FilePieces {
public:
    struct Piece {
        std::span<const std::uint8_t> bytes;
        std::int64_t sourceOffset = -1;  // where the bytes lie in the source; -1 when they do not
    };

    FilePieces() = default;
    explicit FilePieces(std::span<const std::uint8_t> source) : source_(source) {}

    void Add(std::span<const std::uint8_t> bytes);
    void AddZeros(std::size_t count);
    // `count` new zero bytes, held by the pieces and placed next, for the caller to fill in.
    std::span<std::uint8_t> Make(std::size_t count);
    // Keeps `owner` alive as long as the pieces, for spans that lie in what it owns.
    void Hold(std::shared_ptr<const void> owner) { held_.push_back(std::move(owner)); }

    [[nodiscard]] const std::vector<Piece>& Pieces() const { return pieces_; }
    [[nodiscard]] std::uint64_t Size() const { return size_; }
    // The whole file, appended to `out`.
    void AppendTo(std::vector<std::uint8_t>& out) const;

private:
    std::span<const std::uint8_t> source_;
    std::vector<Piece> pieces_;
    std::vector<std::unique_ptr<std::uint8_t[]>> made_;
    std::vector<std::shared_ptr<const void>> held_;
    std::uint64_t size_ = 0;
    // The zeros added last, and the pieces they take, which a span of the source may absorb.
    std::size_t zerosAtEnd_ = 0, zeroPiecesAtEnd_ = 0;
};

// Writes the pieces as WriteFileAtomically writes bytes (a new file beside `path`, renamed over it
// once whole; the same durability, failure and permission rules). `sourceFd` is the open file
// whose bytes are the pieces' source, or -1: pieces that lie in it are copied by the kernel from
// that file (copy_file_range), without passing through this process's memory, where the file
// systems allow it; the others are written from memory.
bool WritePiecesAtomically(const std::string& path, const FilePieces& pieces, int sourceFd, std::string& error,
                           Durability durability = Durability::Flush);

// Writes many files one after another, each as WriteFileAtomically does, for a job that replaces
// the files an earlier run wrote. A replaced file is swapped whole with the new one (one atomic
// exchange of names), and its storage, inode and blocks, becomes the next new file's, written
// over before that file is swapped in: the disk frees and allocates almost nothing. A rename over
// each old file frees an inode and its blocks and makes new ones, which some file systems make
// dear: ext4 starts writing the new file out at once, discards the freed blocks and waits when
// mounted with `discard`, and without a journal looks past every inode freed in the last minutes.
// An old file is reused only if nobody else can see its content change: a regular file of one
// link, owned by this user, without extended attributes, and open nowhere (a write lease can be
// taken). As with NoFlush, a power failure soon after may leave a file whose new bytes did not
// all reach the disk; with Flush each file is on the disk before its names are swapped. The old
// file kept for reuse is removed when the writer is destroyed. One writer belongs to one thread.
class FileReplacer {
public:
    explicit FileReplacer(Durability durability = Durability::NoFlush);
    ~FileReplacer();
    FileReplacer(const FileReplacer&) = delete;
    FileReplacer& operator=(const FileReplacer&) = delete;

    bool Write(const std::string& path, std::span<const std::uint8_t> bytes, std::string& error);

    // Whether an old file is kept for the next write, for tests.
    [[nodiscard]] bool HoldsOldFile() const { return !spare_.empty(); }

private:
    // The old file last swapped out, under a temporary name: every swap that gives one takes the
    // one before, so there is never more than one.
    std::string spare_;
    dev_t spareDevice_ = 0;
    Durability durability_;
    bool exchangeWorks_ = true;
    int signalSlot_ = -1;  // where the name of the file kept or being written is left for a signal
};

// Makes SIGINT, SIGTERM and SIGHUP remove the old files the FileReplacers of the process keep,
// and then end the process as the signal would have. For the command-line tool, whose jobs have
// no handlers of their own; call it before the first FileReplacer is made.
void RemoveKeptFilesOnInterrupt();
// Removes the files the FileReplacers of the process keep or are writing, and nothing else: safe
// to call from a signal handler, for a program that ends itself from one (a time limit).
void RemoveKeptFiles();

}  // namespace tellurine
