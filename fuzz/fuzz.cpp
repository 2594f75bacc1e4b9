#include "fuzz.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sanitizer/asan_interface.h>
#include <unistd.h>
#include <zlib.h>

#include <csetjmp>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/contract.hpp"

namespace {

// --- what a call holds, so that it can be released when it is abandoned ---

constexpr size_t most_held = 1u << 18;
struct held {
    void *thing;
    bool is_file;
};
held things[most_held];
size_t nheld = 0;
bool watching = false;

void hold(void *thing, bool is_file)
{
    if (!watching || thing == nullptr) return;
    if (nheld == most_held) std::abort();
    things[nheld++] = {thing, is_file};
}

void let_go(const void *thing)
{
    for (size_t i = nheld; i-- > 0;) {
        if (things[i].thing != thing) continue;
        things[i] = things[--nheld];
        return;
    }
}

// What is held and never released stays reachable from the table above, where
// a leak checker would not look for it.
void expect_nothing_held()
{
    if (nheld == 0) return;
    for (size_t i = 0; i < nheld; ++i)
        if (!things[i].is_file) __asan_describe_address(things[i].thing);
    std::fprintf(stderr, "fuzz: %zu blocks or files are not released\n", nheld);
    std::abort();
}

// Targets name files of the scratch folder, which is the current one.
void expect_inside(const char *path)
{
    if (!watching || std::strchr(path, '/') == nullptr) return;
    std::fprintf(stderr, "fuzz: outside the scratch folder: %s\n", path);
    std::abort();
}

}  // namespace

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
char *__real_strdup(const char *text);
void __real_free(void *block);
FILE *__real_fopen64(const char *path, const char *mode);
FILE *__real_fdopen(int fd, const char *mode);
int __real_fclose(FILE *file);
int __real_open64(const char *path, int flags, ...);
int __real_unlink(const char *path);
int __real_rename(const char *from, const char *to);
void *__wrap_malloc(size_t size);
void *__wrap_calloc(size_t count, size_t size);
void *__wrap_realloc(void *block, size_t size);
char *__wrap_strdup(const char *text);
void __wrap_free(void *block);
FILE *__wrap_fopen64(const char *path, const char *mode);
FILE *__wrap_fdopen(int fd, const char *mode);
int __wrap_fclose(FILE *file);
int __wrap_open64(const char *path, int flags, ...);
int __wrap_unlink(const char *path);
int __wrap_rename(const char *from, const char *to);

void *__wrap_malloc(size_t size)
{
    void *const block = __real_malloc(size);
    hold(block, false);
    return block;
}
void *__wrap_calloc(size_t count, size_t size)
{
    void *const block = __real_calloc(count, size);
    hold(block, false);
    return block;
}
void *__wrap_realloc(void *block, size_t size)
{
    void *const grown = __real_realloc(block, size);
    if (grown == nullptr) return nullptr;
    let_go(block);
    hold(grown, false);
    return grown;
}
char *__wrap_strdup(const char *text)
{
    char *const copy = __real_strdup(text);
    hold(copy, false);
    return copy;
}
void __wrap_free(void *block)
{
    let_go(block);
    __real_free(block);
}
FILE *__wrap_fopen64(const char *path, const char *mode)
{
    expect_inside(path);
    FILE *const file = __real_fopen64(path, mode);
    hold(file, true);
    return file;
}
FILE *__wrap_fdopen(int fd, const char *mode)
{
    FILE *const file = __real_fdopen(fd, mode);
    hold(file, true);
    return file;
}
int __wrap_fclose(FILE *file)
{
    let_go(file);
    return __real_fclose(file);
}
int __wrap_open64(const char *path, int flags, ...)
{
    expect_inside(path);
    if ((flags & O_CREAT) == 0) return __real_open64(path, flags);
    va_list arguments;
    va_start(arguments, flags);
    const int mode = va_arg(arguments, int);
    va_end(arguments);
    return __real_open64(path, flags, mode);
}
int __wrap_unlink(const char *path)
{
    expect_inside(path);
    return __real_unlink(path);
}
int __wrap_rename(const char *from, const char *to)
{
    expect_inside(from);
    expect_inside(to);
    return __real_rename(from, to);
}
}

namespace {

std::jmp_buf abandoned;
std::initializer_list<const char *> accepted;

// An assertion that is not accepted goes on to its message and its abort.
void abandon(const char *expression)
{
    for (const char *documented : accepted)
        if (std::strcmp(documented, expression) == 0)
            std::longjmp(abandoned, 1);
}

// Files first: closing one may still use its buffer.
void release_everything()
{
    for (size_t i = 0; i < nheld; ++i)
        if (things[i].is_file)
            __real_fclose(static_cast<FILE *>(things[i].thing));
    for (size_t i = 0; i < nheld; ++i)
        if (!things[i].is_file) __real_free(things[i].thing);
    nheld = 0;
    // The registry was among them.
    _sensors.buckets = nullptr;
    _sensors.nsensors = 0;
}

// The scratch folder, in memory, made for this process.
const char *folder()
{
    static char name[] = "/dev/shm/libkor-fuzz-XXXXXX";
    static const char *const made = mkdtemp(name);
    if (made == nullptr) std::abort();
    static const bool registered = std::atexit([] {
                                       if (chdir(folder()) != 0) return;
                                       fuzz::empty_folder();
                                       rmdir(folder());
                                   }) == 0;
    if (!registered) std::abort();
    return made;
}

// The current folder of the fuzzer itself, whose own files may be relative.
int home()
{
    static const int opened = __real_open64(".", O_RDONLY | O_DIRECTORY);
    return opened;
}

int lowest_free_descriptor()
{
    const int copy = dup(home());
    close(copy);
    return copy;
}

fuzz::input being_read;

int read_input(void *, void *buf, uint32_t len)
{
    const size_t n = len < being_read.size ? len : being_read.size;
    std::memcpy(buf, being_read.data, n);
    being_read.data += n;
    being_read.size -= n;
    return static_cast<int>(n);
}

}  // namespace

uint8_t fuzz::input::take()
{
    if (size == 0) return 0;
    --size;
    return *data++;
}

void fuzz::run(input in, void (*body)(input),
               std::initializer_list<const char *> documented)
{
    accepted = documented;
    vela::contract_hook = abandon;
    const int descriptor = lowest_free_descriptor();
    if (chdir(folder()) != 0) std::abort();
    empty_folder();
    nheld = 0;
    watching = true;
    if (setjmp(abandoned) == 0) {
        body(in);
        expect_nothing_held();
    } else {
        release_everything();
    }
    watching = false;
    if (fchdir(home()) != 0) std::abort();
    if (lowest_free_descriptor() != descriptor) std::abort();
    // A call that has returned leaves the registry empty.
    if (_sensors.nsensors != 0) std::abort();
}

struct reader *fuzz::reader_over(input in)
{
    static struct reader source = {};
    being_read = in;
    source.version = READER_VERSION;
    source.type = READER_TYPE_RAW;
    source.reader = &source;
    source.fn_read_bytes = read_input;
    source.fn_eof = [](void *) {
        return being_read.size == 0 ? 1 : 0;
    };
    source.fn_destruct = [](void *) {
        return 0;
    };
    return &source;
}

struct writer *fuzz::sink()
{
    static struct writer target = {};
    target.version = WRITER_VERSION;
    target.type = WRITER_TYPE_RAW;
    target.writer = &target;
    target.fn_write_bytes = [](void *, const void *, uint32_t len) {
        return static_cast<int>(len);
    };
    target.fn_flush = [](void *) {
        return 0;
    };
    target.fn_destruct = [](void *) {
        return 0;
    };
    return &target;
}

void fuzz::empty_folder()
{
    DIR *const entries = opendir(".");
    if (entries == nullptr) std::abort();
    while (const struct dirent *entry = readdir(entries))
        unlinkat(dirfd(entries), entry->d_name, 0);
    closedir(entries);
}

void fuzz::write_file(const char *name, input content, const char *mode)
{
    FILE *const file = std::fopen(name, mode);
    if (file == nullptr) std::abort();
    std::fwrite(content.data, 1, content.size, file);
    std::fclose(file);
}

void fuzz::write_deflated(const char *name, input content, const char *mode)
{
    static uint8_t block[1u << 20];
    uLongf size = sizeof block;
    if (compress(block, &size, content.data, content.size) != Z_OK) size = 0;
    write_file(name, {block, size}, mode);
}
