#include "support/file_calls.hpp"

#include <fcntl.h>
#include <limits.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace {

std::string failing_part;

std::string name_of(const std::string &path)
{
    return path.substr(path.find_last_of('/') + 1);
}

int note_sync(int fd)
{
    char path[PATH_MAX] = {};
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    if (readlink(link.c_str(), path, sizeof path - 1) < 0) return -1;
    const std::string name = name_of(path);
    test::file_calls().push_back("sync " + name);
    if (failing_part.empty() || name.find(failing_part) == std::string::npos)
        return 0;
    errno = EIO;
    return -1;
}

}  // namespace

namespace test {

std::vector<std::string> &file_calls()
{
    static std::vector<std::string> calls;
    return calls;
}

failing_sync::failing_sync(std::string part)
{
    failing_part = std::move(part);
}
failing_sync::~failing_sync()
{
    failing_part.clear();
}

}  // namespace test

extern "C" {
int fsync(int fd)
{
    return note_sync(fd);
}
int fdatasync(int fd)
{
    return note_sync(fd);
}
int unlink(const char *path) noexcept
{
    test::file_calls().push_back("unlink " + name_of(path));
    return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}
}
