#include "image/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

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

}  // namespace

bool ReadFileBytes(const std::string& path, std::vector<std::uint8_t>& out, std::size_t limit,
                   std::string& error) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = Reason("cannot open");
        return false;
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        error = S_ISDIR(st.st_mode) ? "is a folder" : Reason("cannot read");
        ::close(fd);
        return false;
    }
    if (static_cast<std::uint64_t>(st.st_size) > limit) {
        error = "file too large";
        ::close(fd);
        return false;
    }
    out.resize(static_cast<std::size_t>(st.st_size));
    std::size_t done = 0;
    while (done < out.size()) {
        const ssize_t n = ::read(fd, out.data() + done, out.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<std::size_t>(n);
    }
    ::close(fd);
    out.resize(done);
    return true;
}

std::string LowerExtension(const std::string& path) {
    std::string ext = std::filesystem::path(path).extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext;
}

bool WriteFileAtomically(const std::string& path, std::span<const std::uint8_t> bytes, std::string& error,
                         Durability durability) {
    namespace fs = std::filesystem;
    const fs::path target(path);
    fs::path dir = target.parent_path();
    if (dir.empty()) dir = ".";
    std::string name = ".";
    name += target.filename().string();
    name += ".tmp-XXXXXX";
    std::string temp = (dir / name).string();
    const int fd = ::mkstemp(temp.data());
    if (fd < 0) {
        error = Reason("cannot create a file beside the target");
        return false;
    }
    // A replaced file keeps its mode; a new one gets the usual mode less the umask.
    struct stat st {};
    mode_t mode = 0;
    if (::stat(path.c_str(), &st) == 0) {
        mode = st.st_mode & 07777;
    } else {
        mode = 0666 & ~CreationMask();
    }
    bool ok = ::fchmod(fd, mode) == 0;
    std::size_t done = 0;
    while (ok && done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            ok = false;
            break;
        }
        done += static_cast<std::size_t>(n);
    }
    if (!ok) error = Reason("cannot write");
    if (ok && durability == Durability::Flush && ::fsync(fd) != 0) {
        ok = false;
        error = Reason("cannot flush");
    }
    if (::close(fd) != 0 && ok) {
        ok = false;
        error = Reason("cannot write");
    }
    if (ok && std::rename(temp.c_str(), path.c_str()) != 0) {
        ok = false;
        error = Reason("cannot replace the target");
    }
    if (!ok) ::unlink(temp.c_str());
    return ok;
}

}  // namespace tellurine
