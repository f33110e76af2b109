// File queries.
#include "blio.h"

#include "found_p.h"

#include <fcntl.h>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

namespace {

bool copyOut(const std::string &text, char *buffer, size_t size)
{
    if (buffer == nullptr || size == 0) return false;
    if (text.size() + 1 > size) {
        buffer[0] = '\0';
        return false;
    }
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return true;
}

} // namespace

uint32_t BLIO_FileKind(const char *path)
{
    if (path == nullptr || path[0] == '\0') return BLIO_FILEKIND_NONE;
    struct stat info;
    if (::stat(path, &info) != 0) return BLIO_FILEKIND_NONE;
    uint32_t kind;
    if (S_ISREG(info.st_mode)) kind = BLIO_FILEKIND_FILE;
    else if (S_ISDIR(info.st_mode)) kind = BLIO_FILEKIND_DIRECTORY;
    else kind = BLIO_FILEKIND_OTHER;
    struct stat linkInfo;
    if (::lstat(path, &linkInfo) == 0 && S_ISLNK(linkInfo.st_mode)) kind |= BLIO_FILEKIND_LINK;
    if (::access(path, R_OK) == 0) kind |= BLIO_FILEKIND_READABLE;
    if (::access(path, W_OK) == 0) kind |= BLIO_FILEKIND_WRITABLE;
    return kind;
}

bool BLIO_GetFileTime(const char *path, BLtime *time)
{
    if (time == nullptr) return false;
    *time = BLtime{};
    if (path == nullptr) return false;
    struct stat info;
    if (::stat(path, &info) != 0) return false;
    const int64_t stamp = static_cast<int64_t>(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1000000;
    return BLUTILS_TimestampToBLtime(stamp, time);
}

int64_t BLIO_FileSizeOnDiskEx(const char *path)
{
    if (path == nullptr) return -1;
    struct stat info;
    if (::stat(path, &info) != 0) return -1;
    return static_cast<int64_t>(info.st_size);
}

bool BLIO_ExtractCanonicalFileName(const char *path, char *buffer, size_t size)
{
    if (path == nullptr || path[0] == '\0') {
        if (buffer != nullptr && size > 0) buffer[0] = '\0';
        return false;
    }
    std::error_code error;
    const std::filesystem::path canonical = std::filesystem::weakly_canonical(std::filesystem::absolute(path, error), error);
    if (error) {
        if (buffer != nullptr && size > 0) buffer[0] = '\0';
        return false;
    }
    return copyOut(canonical.string(), buffer, size);
}

bool BLIO_ExtractFileName(const char *path, char *buffer, size_t size)
{
    if (path == nullptr) {
        if (buffer != nullptr && size > 0) buffer[0] = '\0';
        return false;
    }
    const char *slash = std::strrchr(path, '/');
    return copyOut(slash != nullptr ? slash + 1 : path, buffer, size);
}

bool _BLIO_WriteFileAtomically(const std::string &path, const std::string &text, std::string &error)
{
    // Several documents may be written to one folder at once by one process.
    static std::atomic<uint64_t> s_serial{0};
    const std::filesystem::path target(path);
    std::error_code code;
    if (target.has_parent_path()) {
        std::filesystem::create_directories(target.parent_path(), code);
        if (code) {
            error = "cannot create the folder: " + code.message();
            return false;
        }
    }
    const std::string temporary =
        path + ".tmp-" + std::to_string(long(getpid())) + "-" + std::to_string(s_serial.fetch_add(1));
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        error = "cannot create " + temporary + ": " + std::strerror(errno);
        return false;
    }
    FILE *file = ::fdopen(fd, "wb");
    if (file == nullptr) {
        error = std::strerror(errno);
        ::close(fd);
        std::remove(temporary.c_str());
        return false;
    }
    bool ok = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    ok = std::fflush(file) == 0 && ok;
    ok = ::fsync(fd) == 0 && ok;
    if (!ok) error = std::string("cannot write: ") + std::strerror(errno);
    if (std::fclose(file) != 0 && ok) {
        error = std::string("cannot close: ") + std::strerror(errno);
        ok = false;
    }
    if (ok && std::rename(temporary.c_str(), path.c_str()) != 0) {
        error = std::string("cannot replace the file: ") + std::strerror(errno);
        ok = false;
    }
    if (!ok) std::remove(temporary.c_str());
    return ok;
}
