#include "recorder/durable_files.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "error.h"
#include "recorder/durable.hpp"

namespace {

constexpr mode_t file_mode = 0666;  // less what the process masks

bool temporary_of(const char *path, char *name) noexcept
{
    const int length = std::snprintf(name, vela::max_path, "%s%s", path,
                                     vela::temporary_suffix);
    return length > 0 && static_cast<size_t>(length) < vela::max_path;
}

int sync_content(int fd) noexcept
{
    return vela::is_durable(fdatasync(fd)) ? KOR_OK : KOR_ERR_INFLATE;
}

// Whoever recovers, the recorder must be able to go on: a file belongs to the
// owner of the one it replaces, and a new one to that of its folder.
void give_to_owner(int fd, const char *path) noexcept
{
    char folder[vela::max_path];
    vela::folder_part(path, folder, sizeof folder);
    struct stat status;
    const bool replaces = stat(path, &status) == 0;
    if (!replaces && stat(folder, &status) != 0) return;
    // Only root may do that, and only root needs to.
    if (fchown(fd, status.st_uid, status.st_gid) != 0) errno = 0;
    if (replaces) static_cast<void>(fchmod(fd, status.st_mode & ALLPERMS));
}

}  // namespace

void vela::open_file::close() noexcept
{
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

vela::open_file vela::open_for_reading(const char *path, bool *missing) noexcept
{
    open_file file(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    *missing = !file && errno == ENOENT;
    struct stat status;
    if (file && (fstat(file.fd(), &status) != 0 || !S_ISREG(status.st_mode)))
        file.close();
    return file;
}

ssize_t vela::read_at(int fd, void *to, size_t size, uint64_t offset) noexcept
{
    ssize_t nread;
    do {
        nread = pread(fd, to, size, static_cast<off_t>(offset));
    } while (nread < 0 && errno == EINTR);
    return nread;
}

uint64_t vela::length_of(int fd) noexcept
{
    struct stat status;
    return fstat(fd, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

bool vela::name_exists(const char *path) noexcept
{
    struct stat status;
    return lstat(path, &status) == 0;
}

bool vela::is_other_than_file(const char *path) noexcept
{
    struct stat status;
    if (stat(path, &status) == 0) return !S_ISREG(status.st_mode);
    return name_exists(path);  // a link that leads nowhere
}

int vela::output_file::write(const void *bytes, size_t size) noexcept
{
    const auto *from = static_cast<const unsigned char *>(bytes);
    while (size > 0) {
        const ssize_t written = ::write(file_.fd(), from, size);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return KOR_ERR_INFLATE;
        from += written;
        size -= static_cast<size_t>(written);
    }
    return KOR_OK;
}

vela::replacement::~replacement()
{
    char name[vela::max_path];
    if (pending_ && temporary_of(path_, name)) unlink(name);
}

int vela::replacement::begin() noexcept
{
    char name[vela::max_path];
    if (!temporary_of(path_, name)) return KOR_ERR_CANNOT_OPEN;
    file_ = open_file(
        open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, file_mode));
    if (!file_) return KOR_ERR_CANNOT_OPEN;
    pending_ = true;
    give_to_owner(file_.fd(), path_);
    return KOR_OK;
}

int vela::replacement::commit() noexcept
{
    char name[vela::max_path];
    if (!temporary_of(path_, name)) return KOR_ERR_CANNOT_OPEN;
    const int synced = sync_content(file_.fd());
    if (synced < 0) return synced;
    file_.close();
    if (rename(name, path_) != 0) return KOR_ERR_CANNOT_OPEN;
    pending_ = false;
    return sync_folder(path_);
}

int vela::appended_file::begin(const char *path) noexcept
{
    file_ = open_file(open(path, O_WRONLY | O_APPEND | O_CLOEXEC));
    return file_ ? KOR_OK : KOR_ERR_CANNOT_OPEN;
}

int vela::appended_file::commit() noexcept
{
    return sync_content(file_.fd());
}

int vela::cut_file(const char *path, uint64_t size) noexcept
{
    const open_file file(open(path, O_WRONLY | O_CLOEXEC));
    if (!file) return KOR_ERR_CANNOT_OPEN;
    if (ftruncate(file.fd(), static_cast<off_t>(size)) != 0)
        return KOR_ERR_INFLATE;
    return is_durable(fsync(file.fd())) ? KOR_OK : KOR_ERR_INFLATE;
}

int vela::sync_existing(const char *path) noexcept
{
    const open_file file(open(path, O_RDONLY | O_CLOEXEC));
    return file ? sync_content(file.fd()) : KOR_ERR_CANNOT_OPEN;
}

int vela::remove_file(const char *path) noexcept
{
    return unlink(path) == 0 || errno == ENOENT ? KOR_OK : KOR_ERR_CANNOT_OPEN;
}

int vela::rename_file(const char *from, const char *to) noexcept
{
    return rename(from, to) == 0 ? KOR_OK : KOR_ERR_CANNOT_OPEN;
}

// A folder that may not be read is as durable as it will get.
int vela::sync_folder(const char *path) noexcept
{
    char folder[vela::max_path];
    folder_part(path, folder, sizeof folder);
    const open_file file(open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!file) return errno == EACCES ? KOR_OK : KOR_ERR_INFLATE;
    return is_durable(fsync(file.fd())) ? KOR_OK : KOR_ERR_INFLATE;
}

void vela::folder_part(const char *path, char *folder, size_t size) noexcept
{
    const char *const slash = std::strrchr(path, '/');
    const char *const from = slash != nullptr ? path : ".";
    size_t length = slash != nullptr ? static_cast<size_t>(slash - path) : 1;
    if (length == 0) length = 1;  // the root
    length = std::min(length, size - 1);
    std::memcpy(folder, from, length);
    folder[length] = '\0';
}
