// durable.hpp: what has been written must outlast a power cut.
#ifndef KOR_RECORDER_DURABLE_HPP
#define KOR_RECORDER_DURABLE_HPP

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace vela {

// The length of an open file, or -1.
inline off_t file_length(FILE *fp) noexcept
{
    struct stat status;
    return fstat(fileno(fp), &status) == 0 ? status.st_size : -1;
}

// Where a file system cannot sync at all, what was written is as durable as it
// will get.
inline bool is_durable(int sync_result) noexcept
{
    return sync_result == 0 || errno == EINVAL || errno == ENOTSUP;
}

// Brings what was written to a file onto the disk.
inline bool sync_file(FILE *fp) noexcept
{
    return fflush(fp) == 0 && is_durable(fdatasync(fileno(fp)));
}

}  // namespace vela

#endif
