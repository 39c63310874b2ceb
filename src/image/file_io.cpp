#include "image/file_io.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

namespace tellurine {

namespace {

std::string Reason(const char* what) { return std::string(what) + ": " + std::strerror(errno); }

// The process's file-creation mask. Reading it means setting it, so it is read once, before any
// file is written, and never changed afterwards.
mode_t CreationMask() {
    static const mode_t mask = [] {
        const mode_t m = ::umask(0);
        ::umask(m);
        return m;
    }();
    return mask;
}

// Opens `path` for a whole read of at most `limit` bytes: the descriptor and the file's size, or
// -1 with the reason in `error`.
int OpenForWholeRead(const std::string& path, std::size_t limit, std::size_t& size, std::string& error) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = Reason("cannot open");
        return -1;
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        error = S_ISDIR(st.st_mode) ? "is a folder" : Reason("cannot read");
        ::close(fd);
        return -1;
    }
    if (static_cast<std::uint64_t>(st.st_size) > limit) {
        error = "file too large";
        ::close(fd);
        return -1;
    }
    size = static_cast<std::size_t>(st.st_size);
    return fd;
}

// Reads into `out` until it is full or the file ends; closes `fd`. How many bytes came.
std::size_t ReadAndClose(int fd, std::span<std::uint8_t> out) {
    std::size_t done = 0;
    while (done < out.size()) {
        const ssize_t n = ::read(fd, out.data() + done, out.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<std::size_t>(n);
    }
    ::close(fd);
    return done;
}

}  // namespace

bool ReadFileBytes(const std::string& path, std::vector<std::uint8_t>& out, std::size_t limit,
                   std::string& error) {
    std::size_t size = 0;
    const int fd = OpenForWholeRead(path, limit, size, error);
    if (fd < 0) return false;
    out.resize(size);
    out.resize(ReadAndClose(fd, out));
    return true;
}

bool ReadFileBlock(const std::string& path, Block& out, std::size_t limit, std::string& error) {
    std::size_t size = 0;
    const int fd = OpenForWholeRead(path, std::min(limit, kMaxBlockBytes), size, error);
    if (fd < 0) return false;
    Block block = Block::Uninitialised(size);
    if (size != 0 && !block) {
        ::close(fd);
        error = "out of memory";
        return false;
    }
    // A file that shrank while it was read keeps what came.
    if (const std::size_t done = ReadAndClose(fd, block.bytes()); done < size) {
        Block whole = Block::Uninitialised(done);
        if (done != 0) std::memcpy(whole.data(), block.data(), done);
        block = std::move(whole);
    }
    out = std::move(block);
    return true;
}

std::string LowerExtension(const std::string& path) {
    std::string ext = std::filesystem::path(path).extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext;
}

std::string SafeFileNamePart(std::string name) {
    for (char& c : name) {
        const bool safe = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
                          c == '_' || c == '-';
        if (!safe) c = '_';
    }
    if (name.empty() || name == "." || name == "..") name.insert(0, 1, '_');
    return name;
}

namespace {

// What a write needs to know of the file it replaces.
struct Replaced {
    mode_t mode = 0;   // the new file's permission bits: the old file's, or the usual ones less the umask
    bool swappable = false;  // a regular file of one link, ours: its storage may serve the next file
    dev_t device = 0;
};

Replaced Inspect(const std::string& path) {
    Replaced old;
    old.mode = 0666 & ~CreationMask();
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0) return old;
    if (S_ISLNK(st.st_mode)) {
        // The link itself is replaced; the mode is that of the file it names.
        if (::stat(path.c_str(), &st) == 0) old.mode = st.st_mode & 07777;
        return old;
    }
    old.mode = st.st_mode & 07777;
    old.swappable = S_ISREG(st.st_mode) && st.st_nlink == 1 && st.st_uid == ::geteuid();
    old.device = st.st_dev;
    return old;
}

// A new empty file beside `path`, named in `temp`; -1 with a reason on failure.
int CreateBeside(const std::string& path, std::string& temp, std::string& error) {
    namespace fs = std::filesystem;
    const fs::path target(path);
    fs::path dir = target.parent_path();
    if (dir.empty()) dir = ".";
    std::string name = ".";
    name += target.filename().string();
    name += ".tmp-XXXXXX";
    temp = (dir / name).string();
    const int fd = ::mkstemp(temp.data());
    if (fd < 0) error = Reason("cannot create a file beside the target");
    return fd;
}

// Writes `bytes` at `at` in the open file; false with errno set on failure.
bool WriteAt(int fd, std::span<const std::uint8_t> bytes, std::uint64_t at) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::pwrite(fd, bytes.data() + done, bytes.size() - done, static_cast<off_t>(at + done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            if (n == 0) errno = EIO;
            return false;
        }
        done += static_cast<std::size_t>(n);
    }
    return true;
}

// Fills the open file from its start (`fill` writes `size` bytes, or sets `error` and fails),
// cuts a file that held other content to that length, sets the mode, flushes if asked and closes
// the file.
template <typename Fill>
bool FillAndClose(int fd, mode_t mode, const Fill& fill, std::uint64_t size, bool heldContent, Durability durability,
                  std::string& error) {
    bool ok = ::fchmod(fd, mode) == 0;
    if (!ok) error = Reason("cannot write");
    if (ok) ok = fill(fd, error);
    if (ok && heldContent && ::ftruncate(fd, static_cast<off_t>(size)) != 0) {
        ok = false;
        error = Reason("cannot write");
    }
    if (ok && durability == Durability::Flush && ::fsync(fd) != 0) {
        ok = false;
        error = Reason("cannot flush");
    }
    if (::close(fd) != 0 && ok) {
        ok = false;
        error = Reason("cannot write");
    }
    return ok;
}

bool FillAndClose(int fd, mode_t mode, std::span<const std::uint8_t> bytes, bool heldContent, Durability durability,
                  std::string& error) {
    const auto fill = [&](int out, std::string& why) {
        if (WriteAt(out, bytes, 0)) return true;
        why = Reason("cannot write");
        return false;
    };
    return FillAndClose(fd, mode, fill, bytes.size(), heldContent, durability, error);
}

// Writes the pieces from the start of the open file `out`: runs of pieces from memory gathered
// into one pwritev, pieces of the source of some size copied from `sourceFd` by the kernel.
bool WritePieces(int out, const FilePieces& pieces, int sourceFd, std::string& error) {
    // Below this a piece goes with its neighbours in one call rather than in a call of its own.
    constexpr std::size_t kCopyAtLeast = 16 * 1024;
    std::vector<iovec> batch;
    std::uint64_t at = 0;
    const auto flush = [&] {
        std::size_t first = 0;
        while (first < batch.size()) {
            const int count = static_cast<int>(std::min<std::size_t>(batch.size() - first, IOV_MAX));
            const ssize_t n = ::pwritev(out, batch.data() + first, count, static_cast<off_t>(at));
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) {
                if (n == 0) errno = EIO;
                error = Reason("cannot write");
                return false;
            }
            at += static_cast<std::uint64_t>(n);
            // Past what was written: whole vectors dropped, a vector written in part shortened.
            for (auto left = static_cast<std::size_t>(n); left > 0;) {
                iovec& v = batch[first];
                const std::size_t step = std::min(left, v.iov_len);
                v.iov_base = static_cast<std::uint8_t*>(v.iov_base) + step;
                v.iov_len -= step;
                left -= step;
                if (v.iov_len == 0) ++first;
            }
            while (first < batch.size() && batch[first].iov_len == 0) ++first;
        }
        batch.clear();
        return true;
    };
    for (const FilePieces::Piece& piece : pieces.Pieces()) {
        std::span<const std::uint8_t> rest = piece.bytes;
        if (sourceFd >= 0 && piece.sourceOffset >= 0 && rest.size() >= kCopyAtLeast) {
            if (!flush()) return false;
            auto from = static_cast<off_t>(piece.sourceOffset);
            auto to = static_cast<off_t>(at);
            while (!rest.empty()) {
                const ssize_t n = ::copy_file_range(sourceFd, &from, out, &to, rest.size(), 0);
                if (n < 0 && errno == EINTR) continue;
                if (n < 0 && (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP ||
                              errno == EBADF)) {
                    // Not between these files (another file system, an old kernel): the rest from memory.
                    sourceFd = -1;
                    break;
                }
                if (n <= 0) {
                    error = n == 0 ? "cannot write: the file it is made from was cut short" : Reason("cannot write");
                    return false;
                }
                at += static_cast<std::uint64_t>(n);
                rest = rest.subspan(static_cast<std::size_t>(n));
            }
        }
        if (rest.empty()) continue;
        batch.push_back({const_cast<std::uint8_t*>(rest.data()), rest.size()});
    }
    return flush();
}

// True when nobody but this process can see the open file's content change: one link, this
// user's, no extended attributes, and no other open descriptor or mapping (the kernel grants a
// write lease only then; the lease is given back at once). Should another process open the file
// in that moment, the lease's break is signalled with SIGURG, which is ignored unless handled,
// not SIGIO, which would end the process.
bool IsUnshared(int fd) {
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_nlink != 1 || st.st_uid != ::geteuid()) return false;
    const ssize_t attributes = ::flistxattr(fd, nullptr, 0);
    if (attributes > 0 || (attributes < 0 && errno != ENOTSUP)) return false;
    if (::fcntl(fd, F_SETSIG, SIGURG) != 0 || ::fcntl(fd, F_SETLEASE, F_WRLCK) != 0) return false;
    ::fcntl(fd, F_SETLEASE, F_UNLCK);
    return true;
}

}  // namespace

namespace {

// A new file beside `path`, filled by `fill`, renamed over `path`.
template <typename Fill>
bool ReplaceAtomically(const std::string& path, const Fill& fill, std::string& error) {
    const Replaced old = Inspect(path);
    std::string temp;
    const int fd = CreateBeside(path, temp, error);
    if (fd < 0) return false;
    bool ok = fill(fd, old.mode);
    if (ok && std::rename(temp.c_str(), path.c_str()) != 0) {
        ok = false;
        error = Reason("cannot replace the target");
    }
    if (!ok) ::unlink(temp.c_str());
    return ok;
}

}  // namespace

bool WriteFileAtomically(const std::string& path, std::span<const std::uint8_t> bytes, std::string& error,
                         Durability durability) {
    return ReplaceAtomically(
        path, [&](int fd, mode_t mode) { return FillAndClose(fd, mode, bytes, false, durability, error); }, error);
}

bool WriteIntoFile(const std::string& path, std::span<const std::uint8_t> bytes, std::string& error) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) {
        error = std::strerror(errno);
        return false;
    }
    if (!WriteAt(fd, bytes, 0)) {
        error = std::strerror(errno);
        [[maybe_unused]] const int emptied = ::ftruncate(fd, 0);
        ::close(fd);
        return false;
    }
    if (::close(fd) != 0) {
        error = std::strerror(errno);
        return false;
    }
    return true;
}

bool WritePiecesAtomically(const std::string& path, const FilePieces& pieces, int sourceFd, std::string& error,
                           Durability durability) {
    const auto fill = [&](int out, std::string& why) { return WritePieces(out, pieces, sourceFd, why); };
    const auto write = [&](int fd, mode_t mode) {
        return FillAndClose(fd, mode, fill, pieces.Size(), false, durability, error);
    };
    return ReplaceAtomically(path, write, error);
}

void FilePieces::Add(std::span<const std::uint8_t> bytes) {
    if (bytes.empty()) return;
    const auto at = reinterpret_cast<std::uintptr_t>(bytes.data());
    const auto start = reinterpret_cast<std::uintptr_t>(source_.data());
    std::int64_t offset = -1;
    if (at >= start && at - start <= source_.size() && bytes.size() <= source_.size() - (at - start))
        offset = static_cast<std::int64_t>(at - start);
    if (offset >= 0 && pieces_.size() > zeroPiecesAtEnd_) {
        // The last piece before the zeros, if it lies in the source just as far before this span,
        // with zeros between, takes the zeros and this span.
        Piece& last = pieces_[pieces_.size() - zeroPiecesAtEnd_ - 1];
        const auto from = static_cast<std::size_t>(std::max<std::int64_t>(last.sourceOffset, 0));
        const std::size_t end = from + last.bytes.size(), to = static_cast<std::size_t>(offset);
        if (last.sourceOffset >= 0 && end + zerosAtEnd_ == to &&
            std::all_of(source_.begin() + static_cast<std::ptrdiff_t>(end),
                        source_.begin() + static_cast<std::ptrdiff_t>(to), [](std::uint8_t v) { return v == 0; })) {
            last.bytes = source_.subspan(from, to + bytes.size() - from);
            pieces_.resize(pieces_.size() - zeroPiecesAtEnd_);
            zerosAtEnd_ = zeroPiecesAtEnd_ = 0;
            size_ += bytes.size();
            return;
        }
    }
    pieces_.push_back({bytes, offset});
    zerosAtEnd_ = zeroPiecesAtEnd_ = 0;
    size_ += bytes.size();
}

void FilePieces::AddZeros(std::size_t count) {
    static constexpr std::uint8_t kZeros[4096] = {};
    while (count > 0) {
        const std::size_t step = std::min(count, sizeof kZeros);
        if (zeroPiecesAtEnd_ > 0 && pieces_.back().bytes.size() + step <= sizeof kZeros) {
            pieces_.back().bytes = std::span(kZeros, pieces_.back().bytes.size() + step);
        } else {
            pieces_.push_back({std::span(kZeros, step), -1});
            ++zeroPiecesAtEnd_;
        }
        zerosAtEnd_ += step;
        size_ += step;
        count -= step;
    }
}

std::span<std::uint8_t> FilePieces::Make(std::size_t count) {
    made_.push_back(std::make_unique<std::uint8_t[]>(count));
    const std::span<std::uint8_t> bytes(made_.back().get(), count);
    if (count > 0) pieces_.push_back({bytes, -1});
    zerosAtEnd_ = zeroPiecesAtEnd_ = 0;
    size_ += count;
    return bytes;
}

void FilePieces::AppendTo(std::vector<std::uint8_t>& out) const {
    out.reserve(out.size() + size_);
    for (const Piece& piece : pieces_) out.insert(out.end(), piece.bytes.begin(), piece.bytes.end());
}

namespace {

// The names of the files FileReplacers keep or are writing, where a signal handler can read them:
// each writer claims a slot, whose pointer names one of two buffers, always a whole name; a new
// name is copied into the other buffer before the pointer moves to it.
constexpr int kKeptSlots = 8;
constexpr std::size_t kKeptNameBytes = 4096;
std::atomic<bool> keptSlotTaken[kKeptSlots];
std::atomic<const char*> keptName[kKeptSlots];
char keptNameBuffer[kKeptSlots][2][kKeptNameBytes];

void Publish(int slot, const std::string& path) {
    if (slot < 0) return;
    if (path.empty() || path.size() >= kKeptNameBytes) {
        keptName[slot].store(nullptr);
        return;
    }
    char* next = keptName[slot].load() == keptNameBuffer[slot][0] ? keptNameBuffer[slot][1] : keptNameBuffer[slot][0];
    std::memcpy(next, path.c_str(), path.size() + 1);
    keptName[slot].store(next);
}

extern "C" void RemoveKeptFilesAndEnd(int number) {
    RemoveKeptFiles();
    // The handler was reset on entry (SA_RESETHAND): once it returns, the signal raised again
    // ends the process as it would have.
    ::raise(number);
}

}  // namespace

void RemoveKeptFiles() {
    for (auto& name : keptName)
        if (const char* path = name.load()) ::unlink(path);
}

void RemoveKeptFilesOnInterrupt() {
    struct sigaction action {};
    action.sa_handler = RemoveKeptFilesAndEnd;
    action.sa_flags = SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction old {};
        // A signal ignored by whoever started the process stays ignored.
        if (::sigaction(signal, nullptr, &old) == 0 && old.sa_handler != SIG_IGN) ::sigaction(signal, &action, nullptr);
    }
}

FileReplacer::FileReplacer(Durability durability) : durability_(durability) {
    for (int i = 0; i < kKeptSlots && signalSlot_ < 0; ++i) {
        bool taken = false;
        if (keptSlotTaken[i].compare_exchange_strong(taken, true)) signalSlot_ = i;
    }
}

FileReplacer::~FileReplacer() {
    if (!spare_.empty()) ::unlink(spare_.c_str());
    Publish(signalSlot_, {});
    if (signalSlot_ >= 0) keptSlotTaken[signalSlot_].store(false);
}

bool FileReplacer::Write(const std::string& path, std::span<const std::uint8_t> bytes, std::string& error) {
    const Replaced old = Inspect(path);
    std::string temp;
    int fd = -1;
    bool reused = false;
    if (!spare_.empty() && old.swappable) {
        // The old file kept from the last swap takes the new bytes if it is on the same disk
        // and nobody else can see it; else it goes, and this swap keeps another.
        std::string kept = std::exchange(spare_, {});
        fd = spareDevice_ == old.device ? ::open(kept.c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC) : -1;
        if (fd >= 0 && IsUnshared(fd)) {
            temp = std::move(kept);
            reused = true;
        } else {
            if (fd >= 0) ::close(fd);
            fd = -1;
            ::unlink(kept.c_str());
        }
    }
    if (fd < 0) fd = CreateBeside(path, temp, error);
    if (fd < 0) {
        Publish(signalSlot_, {});
        return false;
    }
    Publish(signalSlot_, temp);  // from here until it is renamed, a signal removes the file
    bool ok = FillAndClose(fd, old.mode, bytes, reused, durability_, error);
    // Swapped, the old file is left under the temporary name, whole, to be written over next.
    if (ok && old.swappable && exchangeWorks_) {
        if (::renameat2(AT_FDCWD, temp.c_str(), AT_FDCWD, path.c_str(), RENAME_EXCHANGE) == 0) {
            spare_ = std::move(temp);
            spareDevice_ = old.device;
            return true;
        }
        if (errno == EINVAL || errno == ENOSYS) exchangeWorks_ = false;  // not on this file system
    }
    if (ok && std::rename(temp.c_str(), path.c_str()) != 0) {
        ok = false;
        error = Reason("cannot replace the target");
    }
    if (!ok) ::unlink(temp.c_str());
    Publish(signalSlot_, {});
    return ok;
}

}  // namespace tellurine
