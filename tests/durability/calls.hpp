// calls.hpp: the file-system calls of the code under test go to a disk in
// memory.
//
// The program is linked with --wrap for every such call that the library
// makes.  Streams are the C library's own, over the disk: what they buffer and
// which failures they hide is what they do on a real one.
#ifndef KOR_TESTS_DURABILITY_CALLS_HPP
#define KOR_TESTS_DURABILITY_CALLS_HPP

#include <string>
#include <string_view>

#include "disk.hpp"

namespace durability {

enum class call_kind {
    open_to_write,  // creating or truncating it, if `changes` is set
    write,
    truncate,
    sync,
    rename,
    unlink,
    open_to_read,
    read,
};

// A call that is about to happen.
struct call {
    call_kind kind;
    const disk *on;
    std::string_view name;
    int file = disk::no_file;
    size_t offset = 0;
    std::string_view bytes = {};
    bool changes = true;  // whether the disk will look different
};

// What becomes of it.
struct outcome {
    int error = 0;              // an errno: it fails, and changes nothing
    size_t at_most = SIZE_MAX;  // a write of fewer bytes than asked for
};

class watcher {
public:
    virtual ~watcher() = default;
    virtual outcome before(const call &c) = 0;
};

// While it lives, relative paths are names on the disk.
class mounted {
public:
    explicit mounted(disk &d, watcher *w = nullptr);
    mounted(const mounted &) = delete;
    mounted &operator=(const mounted &) = delete;
    ~mounted();

    // Files that are open.
    static size_t open_files();

private:
    struct saved;
    saved *previous_;
};

// The name of the file that was written last.
const std::string &last_written();

// Called instead of abort while it is set; it must not return.
void set_abort_action(void (*action)());

}  // namespace durability

#endif
