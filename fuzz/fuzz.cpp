#include "fuzz.hpp"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <csetjmp>
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
void *__wrap_malloc(size_t size);
void *__wrap_calloc(size_t count, size_t size);
void *__wrap_realloc(void *block, size_t size);
char *__wrap_strdup(const char *text);
void __wrap_free(void *block);
FILE *__wrap_fopen64(const char *path, const char *mode);
FILE *__wrap_fdopen(int fd, const char *mode);
int __wrap_fclose(FILE *file);

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
}

namespace {

std::jmp_buf abandoned;

void abandon(const char *)
{
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

void empty_folder()
{
    DIR *const entries = opendir(fuzz::folder());
    if (entries == nullptr) std::abort();
    while (const struct dirent *entry = readdir(entries))
        unlinkat(dirfd(entries), entry->d_name, 0);
    closedir(entries);
}

char path[4096];

FILE *create(const char *name)
{
    std::snprintf(path, sizeof path, "%s/%s", fuzz::folder(), name);
    FILE *const file = __real_fopen64(path, "w");
    if (file == nullptr) std::abort();
    return file;
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

void fuzz::run(input in, void (*body)(input))
{
    vela::contract_hook = abandon;
    empty_folder();
    nheld = 0;
    watching = true;
    if (setjmp(abandoned) == 0)
        body(in);
    else
        release_everything();
    watching = false;
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

const char *fuzz::folder()
{
    static char name[] = "/dev/shm/libkor-fuzz-XXXXXX";
    static const char *const made = mkdtemp(name);
    if (made == nullptr) std::abort();
    static const bool registered = std::atexit([] {
                                       empty_folder();
                                       rmdir(fuzz::folder());
                                   }) == 0;
    if (!registered) std::abort();
    return made;
}

const char *fuzz::write_file(const char *name, input content)
{
    FILE *const file = create(name);
    std::fwrite(content.data, 1, content.size, file);
    __real_fclose(file);
    return path;
}

const char *fuzz::write_deflated(const char *name, input content)
{
    static uint8_t block[1u << 20];
    uLongf size = sizeof block;
    if (compress(block, &size, content.data, content.size) != Z_OK) size = 0;
    return write_file(name, {block, size});
}
