// durable_files.hpp: every call that recovery makes on the file system.
//
// Each function is one step: it happens as a whole or not at all, whatever
// kills the process or the power, and reports what went wrong.  Recovery is a
// sequence of such steps with a sound state of the files between any two.
#ifndef KOR_RECORDER_DURABLE_FILES_HPP
#define KOR_RECORDER_DURABLE_FILES_HPP

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace vela {

// Room for the name of any file of a recorder, and of what stands beside it.
inline constexpr size_t max_path = 1100;

// A file descriptor that is closed with its owner.
class open_file {
public:
    open_file() noexcept = default;
    explicit open_file(int fd) noexcept : fd_(fd) {}
    open_file(const open_file &) = delete;
    open_file &operator=(const open_file &) = delete;
    open_file(open_file &&other) noexcept : fd_(other.release()) {}
    open_file &operator=(open_file &&other) noexcept
    {
        const int fd = other.release();
        close();
        fd_ = fd;
        return *this;
    }
    ~open_file() { close(); }

    explicit operator bool() const noexcept { return fd_ >= 0; }
    int fd() const noexcept { return fd_; }
    void close() noexcept;
    int release() noexcept
    {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }

private:
    int fd_ = -1;
};

// Opens a regular file for reading.  `missing` tells whether there is none.
// Neither waits for a pipe nor takes one.
open_file open_for_reading(const char *path, bool *missing) noexcept;

// Up to `size` bytes at `offset`; fewer at the end of the file, -1 on failure.
ssize_t read_at(int fd, void *to, size_t size, uint64_t offset) noexcept;

// The length of an open file; 0 when it cannot be told.
uint64_t length_of(int fd) noexcept;

// True when something of this name exists.
bool name_exists(const char *path) noexcept;
// True when it exists and is neither a regular file nor a link to one.
bool is_other_than_file(const char *path) noexcept;

// The steps below return 0, KOR_ERR_CANNOT_OPEN or KOR_ERR_INFLATE.

// A file that is being written.
class output_file {
public:
    int write(const void *bytes, size_t size) noexcept;

protected:
    open_file file_;
};

// A file that is written beside `path` and takes its place as a whole.
class replacement : public output_file {
public:
    // Names the temporary: `path` followed by temporary_suffix.
    explicit replacement(const char *path) noexcept : path_(path) {}
    replacement(const replacement &) = delete;
    replacement &operator=(const replacement &) = delete;
    ~replacement();

    int begin() noexcept;
    // Makes the content durable and swaps it in.
    int commit() noexcept;

private:
    const char *path_;
    bool pending_ = false;
};

inline constexpr char temporary_suffix[] = ".kor-tmp";

// A file to whose end whole streams are added.
class appended_file : public output_file {
public:
    int begin(const char *path) noexcept;
    // Makes what was added durable.
    int commit() noexcept;
};

int cut_file(const char *path, uint64_t size) noexcept;
// Makes the content of a file durable, whoever wrote it.
int sync_existing(const char *path) noexcept;
int remove_file(const char *path) noexcept;
int rename_file(const char *from, const char *to) noexcept;
// Makes the names in the folder of `path` durable.
int sync_folder(const char *path) noexcept;

// Writes the folder part of `path` to `folder`: "." when there is none.
void folder_part(const char *path, char *folder, size_t size) noexcept;

}  // namespace vela

#endif
