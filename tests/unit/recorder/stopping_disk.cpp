#include "unit/recorder/stopping_disk.hpp"

#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace {

int countdown = -1;  // calls until the one that stops; -1: not armed
bool is_stopped = false;
bool was_reached = false;
test::stop manner = test::stop::before;

// What is to become of a call.
enum class fate { passes, fails, torn };

fate next_call()
{
    using test::stop;
    if (is_stopped) return fate::fails;
    if (countdown < 0 || countdown-- > 0) return fate::passes;
    was_reached = true;
    is_stopped = manner != stop::failing;
    if (manner == stop::after) return fate::passes;
    return manner == stop::torn ? fate::torn : fate::fails;
}

int failed()
{
    errno = EIO;
    return -1;
}

}  // namespace

extern "C" {
ssize_t __real_write(int fd, const void *bytes, size_t size);
int __real_rename(const char *from, const char *to);
int __real_unlink(const char *path);
int __real_fsync(int fd);
int __real_fdatasync(int fd);
int __real_ftruncate64(int fd, off_t size);
ssize_t __wrap_write(int fd, const void *bytes, size_t size);
int __wrap_rename(const char *from, const char *to);
int __wrap_unlink(const char *path);
int __wrap_fsync(int fd);
int __wrap_fdatasync(int fd);
int __wrap_ftruncate64(int fd, off_t size);

ssize_t __wrap_write(int fd, const void *bytes, size_t size)
{
    const fate f = next_call();
    if (f == fate::passes) return __real_write(fd, bytes, size);
    if (f == fate::torn && __real_write(fd, bytes, size / 2) < 0)
        return failed();
    return failed();
}
int __wrap_rename(const char *from, const char *to)
{
    return next_call() == fate::passes ? __real_rename(from, to) : failed();
}
int __wrap_unlink(const char *path)
{
    return next_call() == fate::passes ? __real_unlink(path) : failed();
}
int __wrap_fsync(int fd)
{
    return next_call() == fate::passes ? __real_fsync(fd) : failed();
}
int __wrap_fdatasync(int fd)
{
    return next_call() == fate::passes ? __real_fdatasync(fd) : failed();
}
int __wrap_ftruncate64(int fd, off_t size)
{
    return next_call() == fate::passes ? __real_ftruncate64(fd, size)
                                       : failed();
}
}

namespace test {

stopping_disk::stopping_disk(int n, stop how)
{
    countdown = n;
    manner = how;
    is_stopped = false;
    was_reached = false;
}
stopping_disk::~stopping_disk()
{
    countdown = -1;
    is_stopped = false;
}
bool stopping_disk::reached() const
{
    return was_reached;
}

}  // namespace test
