#include "calls.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {
int __real_open64(const char *path, int flags, ...);
int __real_close(int fd);
ssize_t __real_write(int fd, const void *from, size_t size);
ssize_t __real_pread64(int fd, void *to, size_t size, off_t offset);
int __real_ftruncate64(int fd, off_t size);
int __real_fsync(int fd);
int __real_fdatasync(int fd);
int __real_fchmod(int fd, mode_t mode);
int __real_rename(const char *from, const char *to);
int __real_unlink(const char *path);
int __real_stat64(const char *path, struct stat *status);
int __real_lstat64(const char *path, struct stat *status);
int __real_fstat64(int fd, struct stat *status);
FILE *__real_fopen64(const char *path, const char *mode);
FILE *__real_fdopen(int fd, const char *mode);
int __real_fileno(FILE *stream);
int __real_fclose(FILE *stream);
DIR *__real_opendir(const char *path);
struct dirent *__real_readdir64(DIR *folder);
int __real_closedir(DIR *folder);
[[noreturn]] void __real_abort();
}

namespace durability {
namespace {

constexpr int first_descriptor = 1 << 20;  // none of the kernel's

struct handle {
    std::string name;
    int file;  // no_file: the folder
    size_t position = 0;
    bool appends = false;
};

struct listing {
    std::vector<std::string> names;
    size_t next = 0;
    struct dirent entry = {};
};

struct mount_state {
    disk *on = nullptr;
    watcher *watching = nullptr;
    std::map<int, handle> handles;
    std::map<FILE *, int> streams;
};

mount_state current;
int next_descriptor = first_descriptor;
std::string last_written_name;
void (*abort_action)() = nullptr;

bool is_ours(const char *path)
{
    return current.on != nullptr && path[0] != '/';
}

bool is_folder(const char *path)
{
    return std::strcmp(path, ".") == 0;
}

handle *handle_of(int fd)
{
    const auto found = current.handles.find(fd);
    return found == current.handles.end() ? nullptr : &found->second;
}

outcome announce(call c)
{
    c.on = current.on;
    return current.watching == nullptr ? outcome{}
                                       : current.watching->before(c);
}

int fail(int error)
{
    errno = error;
    return -1;
}

bool is_open(int file)
{
    for (const auto &[fd, h] : current.handles)
        if (h.file == file) return true;
    return false;
}

int open_here(const char *path, int flags)
{
    disk &d = *current.on;
    const bool writes = (flags & O_ACCMODE) != O_RDONLY;
    int file = d.find(path);
    const bool is_new = file == disk::no_file && !is_folder(path);
    const bool empties = (flags & O_TRUNC) != 0 && !is_new &&
                         !is_folder(path) && !d.content(file).empty();
    if (is_new && (flags & O_CREAT) == 0) return fail(ENOENT);
    const outcome out = announce(
        {.kind = writes ? call_kind::open_to_write : call_kind::open_to_read,
         .on = nullptr,
         .name = path,
         .file = file,
         .changes = is_new || empties});
    if (out.error != 0) return fail(out.error);
    if (is_new) file = d.create(path);
    if (empties) d.truncate(file, 0);
    const int fd = next_descriptor++;
    current.handles[fd] = {path, file, 0, (flags & O_APPEND) != 0};
    return fd;
}

int close_here(int fd)
{
    if (current.handles.erase(fd) == 0) return fail(EBADF);
    current.on->forget_unnamed(is_open);
    return 0;
}

ssize_t write_here(int fd, const void *from, size_t size)
{
    handle &h = current.handles.at(fd);
    if (h.appends) h.position = current.on->content(h.file).size();
    std::string_view bytes(static_cast<const char *>(from), size);
    const outcome out = announce({.kind = call_kind::write,
                                  .on = nullptr,
                                  .name = h.name,
                                  .file = h.file,
                                  .offset = h.position,
                                  .bytes = bytes});
    if (out.error != 0) return fail(out.error);
    bytes = bytes.substr(0, out.at_most);
    current.on->write(h.file, h.position, bytes);
    h.position += bytes.size();
    last_written_name = h.name;
    return static_cast<ssize_t>(bytes.size());
}

ssize_t read_here(int fd, void *to, size_t size, size_t offset)
{
    const handle &h = current.handles.at(fd);
    const outcome out = announce({.kind = call_kind::read,
                                  .on = nullptr,
                                  .name = h.name,
                                  .file = h.file,
                                  .offset = offset});
    if (out.error != 0) return fail(out.error);
    const std::string &content = current.on->content(h.file);
    if (offset >= content.size()) return 0;
    const size_t count = std::min(size, content.size() - offset);
    std::memcpy(to, content.data() + offset, count);
    return static_cast<ssize_t>(count);
}

int truncate_here(int fd, size_t size)
{
    const handle &h = current.handles.at(fd);
    const outcome out =
        announce({.kind = call_kind::truncate,
                  .on = nullptr,
                  .name = h.name,
                  .file = h.file,
                  .offset = size,
                  .changes = current.on->content(h.file).size() != size});
    if (out.error != 0) return fail(out.error);
    current.on->truncate(h.file, size);
    return 0;
}

int sync_here(int fd)
{
    const handle &h = current.handles.at(fd);
    const outcome out = announce({.kind = call_kind::sync,
                                  .on = nullptr,
                                  .name = h.name,
                                  .file = h.file,
                                  .changes = false});
    if (out.error != 0) return fail(out.error);
    if (h.file == disk::no_file)
        current.on->sync_names();
    else
        current.on->sync(h.file);
    return 0;
}

int rename_here(const char *from, const char *to)
{
    if (current.on->find(from) == disk::no_file) return fail(ENOENT);
    const outcome out =
        announce({.kind = call_kind::rename, .on = nullptr, .name = from});
    if (out.error != 0) return fail(out.error);
    current.on->rename(from, to);
    current.on->forget_unnamed(is_open);
    return 0;
}

int unlink_here(const char *path)
{
    if (current.on->find(path) == disk::no_file) return fail(ENOENT);
    const outcome out =
        announce({.kind = call_kind::unlink, .on = nullptr, .name = path});
    if (out.error != 0) return fail(out.error);
    current.on->remove(path);
    current.on->forget_unnamed(is_open);
    return 0;
}

void describe(int file, struct stat *status)
{
    *status = {};
    status->st_mode = (file == disk::no_file ? S_IFDIR : S_IFREG) | 0644;
    status->st_ino = static_cast<ino_t>(file + 2);
    if (file != disk::no_file)
        status->st_size = static_cast<off_t>(current.on->content(file).size());
}

int stat_here(const char *path, struct stat *status)
{
    const int file = current.on->find(path);
    if (file == disk::no_file && !is_folder(path)) return fail(ENOENT);
    describe(file, status);
    return 0;
}

// --- streams ---

int descriptor_of(void *cookie)
{
    return static_cast<int>(reinterpret_cast<intptr_t>(cookie));
}

ssize_t stream_read(void *cookie, char *to, size_t size)
{
    handle &h = current.handles.at(descriptor_of(cookie));
    const ssize_t count =
        read_here(descriptor_of(cookie), to, size, h.position);
    if (count > 0) h.position += static_cast<size_t>(count);
    return count;
}

// A stream writes until all is written or a write fails.
ssize_t stream_write(void *cookie, const char *from, size_t size)
{
    size_t done = 0;
    while (done < size) {
        const ssize_t count =
            write_here(descriptor_of(cookie), from + done, size - done);
        if (count < 0) break;
        done += static_cast<size_t>(count);
    }
    return static_cast<ssize_t>(done);
}

int stream_seek(void *cookie, off64_t *offset, int whence)
{
    handle &h = current.handles.at(descriptor_of(cookie));
    off64_t base = 0;
    if (whence == SEEK_CUR) base = static_cast<off64_t>(h.position);
    if (whence == SEEK_END)
        base = static_cast<off64_t>(current.on->content(h.file).size());
    h.position = static_cast<size_t>(base + *offset);
    *offset = base + *offset;
    return 0;
}

int stream_close(void *cookie)
{
    return close_here(descriptor_of(cookie));
}

FILE *stream_over(int fd, const char *mode)
{
    void *const cookie = reinterpret_cast<void *>(static_cast<intptr_t>(fd));
    FILE *const stream = fopencookie(
        cookie, mode, {stream_read, stream_write, stream_seek, stream_close});
    current.streams[stream] = fd;
    return stream;
}

int flags_of(const char *mode)
{
    if (mode[0] == 'w') return O_WRONLY | O_CREAT | O_TRUNC;
    if (mode[0] == 'a') return O_WRONLY | O_CREAT | O_APPEND;
    return std::strchr(mode, '+') != nullptr ? O_RDWR : O_RDONLY;
}

}  // namespace

struct mounted::saved : mount_state {};

mounted::mounted(disk &d, watcher *w) : previous_(new saved{std::move(current)})
{
    current = {};
    current.on = &d;
    current.watching = w;
}

mounted::~mounted()
{
    current = std::move(*previous_);
    delete previous_;
}

size_t mounted::open_files()
{
    return current.handles.size();
}

const std::string &last_written()
{
    return last_written_name;
}

void set_abort_action(void (*action)())
{
    abort_action = action;
}

}  // namespace durability

// --- what the linker puts in the place of the C library's functions ---

using namespace durability;

extern "C" {

int __wrap_open64(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = static_cast<mode_t>(va_arg(arguments, int));
    va_end(arguments);
    return is_ours(path) ? open_here(path, flags)
                         : __real_open64(path, flags, mode);
}
int __wrap_close(int fd)
{
    return handle_of(fd) != nullptr ? close_here(fd) : __real_close(fd);
}
ssize_t __wrap_write(int fd, const void *from, size_t size)
{
    return handle_of(fd) != nullptr ? write_here(fd, from, size)
                                    : __real_write(fd, from, size);
}
ssize_t __wrap_pread64(int fd, void *to, size_t size, off_t offset)
{
    return handle_of(fd) != nullptr
               ? read_here(fd, to, size, static_cast<size_t>(offset))
               : __real_pread64(fd, to, size, offset);
}
int __wrap_ftruncate64(int fd, off_t size)
{
    return handle_of(fd) != nullptr
               ? truncate_here(fd, static_cast<size_t>(size))
               : __real_ftruncate64(fd, size);
}
int __wrap_fsync(int fd)
{
    return handle_of(fd) != nullptr ? sync_here(fd) : __real_fsync(fd);
}
int __wrap_fdatasync(int fd)
{
    return handle_of(fd) != nullptr ? sync_here(fd) : __real_fdatasync(fd);
}
int __wrap_fchmod(int fd, mode_t mode)
{
    return handle_of(fd) != nullptr ? 0 : __real_fchmod(fd, mode);
}
int __wrap_rename(const char *from, const char *to)
{
    return is_ours(from) ? rename_here(from, to) : __real_rename(from, to);
}
int __wrap_unlink(const char *path)
{
    return is_ours(path) ? unlink_here(path) : __real_unlink(path);
}
int __wrap_stat64(const char *path, struct stat *status)
{
    return is_ours(path) ? stat_here(path, status)
                         : __real_stat64(path, status);
}
int __wrap_lstat64(const char *path, struct stat *status)
{
    return is_ours(path) ? stat_here(path, status)
                         : __real_lstat64(path, status);
}
int __wrap_fstat64(int fd, struct stat *status)
{
    const handle *const h = handle_of(fd);
    if (h == nullptr) return __real_fstat64(fd, status);
    describe(h->file, status);
    return 0;
}
FILE *__wrap_fopen64(const char *path, const char *mode)
{
    if (!is_ours(path)) return __real_fopen64(path, mode);
    const int fd = open_here(path, flags_of(mode));
    return fd < 0 ? nullptr : stream_over(fd, mode);
}
FILE *__wrap_fdopen(int fd, const char *mode)
{
    return handle_of(fd) != nullptr ? stream_over(fd, mode)
                                    : __real_fdopen(fd, mode);
}
int __wrap_fileno(FILE *stream)
{
    const auto found = current.streams.find(stream);
    return found != current.streams.end() ? found->second
                                          : __real_fileno(stream);
}
int __wrap_fclose(FILE *stream)
{
    current.streams.erase(stream);
    return __real_fclose(stream);
}
DIR *__wrap_opendir(const char *path)
{
    if (!is_ours(path)) return __real_opendir(path);
    const outcome out = announce({.kind = call_kind::open_to_read,
                                  .on = nullptr,
                                  .name = path,
                                  .changes = false});
    if (out.error == 0)
        return reinterpret_cast<DIR *>(new listing{current.on->names()});
    errno = out.error;
    return nullptr;
}
struct dirent *__wrap_readdir64(DIR *folder)
{
    if (current.on == nullptr) return __real_readdir64(folder);
    auto *const names = reinterpret_cast<listing *>(folder);
    if (names->next == names->names.size()) return nullptr;
    const std::string &name = names->names[names->next++];
    std::snprintf(names->entry.d_name, sizeof names->entry.d_name, "%s",
                  name.c_str());
    return &names->entry;
}
int __wrap_closedir(DIR *folder)
{
    if (current.on == nullptr) return __real_closedir(folder);
    delete reinterpret_cast<listing *>(folder);
    return 0;
}
[[noreturn]] void __wrap_abort()
{
    if (abort_action != nullptr) abort_action();
    __real_abort();
}

}  // extern "C"
