// durable.hpp: what has been written must outlast a power cut.
#ifndef KOR_RECORDER_DURABLE_HPP
#define KOR_RECORDER_DURABLE_HPP

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

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

}  // namespace vela

#endif
