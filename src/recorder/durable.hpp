// durable.hpp: what has been written must outlast a power cut.
#ifndef KOR_RECORDER_DURABLE_HPP
#define KOR_RECORDER_DURABLE_HPP

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "platform/strlcpy.hpp"

namespace vela {

// The length of an open file, or -1.
inline off_t file_length(FILE *fp) noexcept
{
    struct stat status;
    return fstat(fileno(fp), &status) == 0 ? status.st_size : -1;
}

// Brings what was written to a file onto the disk.
inline bool sync_file(FILE *fp) noexcept
{
    return fflush(fp) == 0 && fdatasync(fileno(fp)) == 0;
}

// The folder part of `path`, cut to fit.
inline void folder_of(const char *path, char *folder, size_t size) noexcept
{
    const char *const slash = std::strrchr(path, '/');
    if (slash == nullptr) {
        copy_string(folder, ".", size);
        return;
    }
    const size_t length = slash == path ? 1 : static_cast<size_t>(slash - path);
    copy_string(folder, path, length + 1 < size ? length + 1 : size);
}

// Brings the names in the folder of `path` onto the disk.  A folder that
// cannot be opened for reading, or that its file system cannot sync, counts
// as synced: there is nothing more that could be done.
inline bool sync_folder_of(const char *path) noexcept
{
    char folder[PATH_MAX];
    folder_of(path, folder, sizeof folder);
    const int fd = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return true;
    const bool synced = fsync(fd) == 0 || errno == EINVAL || errno == ENOTSUP;
    close(fd);
    return synced;
}

}  // namespace vela

#endif
