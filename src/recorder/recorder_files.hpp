// recorder_files.hpp: the files of a recorder, found by their names.
//
// For a base name B they are B.state, B.NUMBER.cbuf.z and B.NUMBER.hbuf.z, all
// in one folder.  What is set aside has ".orphan" added to its name.
#ifndef KOR_RECORDER_RECORDER_FILES_HPP
#define KOR_RECORDER_RECORDER_FILES_HPP

#include <cstdint>

#include "common/growable.hpp"
#include "recorder/buffer_scan.hpp"
#include "recorder/durable_files.hpp"

namespace vela {

// The name of a file.
struct file_name {
    char text[max_path];
};

// A number and a kind make a buffer file's name.
struct buffer_id {
    uint32_t kind = 0;  // KOR_BUFFER_TYPE_*
    uint32_t number = 0;

    friend bool operator==(const buffer_id &, const buffer_id &) = default;
};

// A counter does not get there in the life of a recorder; a larger number
// comes from damage.
inline constexpr uint32_t max_file_number = 0x7fffffff;

class base_name {
public:
    // Returns 0, or KOR_ERR_CANNOT_OPEN when file names would be cut.
    int set(const char *filename) noexcept;
    const char *path() const noexcept { return path_; }
    void name_state(file_name *name) const noexcept;
    void name_buffer(const buffer_id &id, file_name *name) const noexcept;
    // Reads the last part of a path as a buffer file's name.  `rest`, which
    // may be null, is set to what follows; without it nothing may follow.
    bool parse(const char *path, buffer_id *id,
               const char **rest) const noexcept;
    // Whether `other` is another way to write the same base name.
    bool is_same(const char *other) const noexcept;

private:
    const char *path_ = nullptr;  // borrowed
    const char *leaf_ = nullptr;
};

struct recorder_file {
    buffer_id id;
    struct scan_summary summary;  // zero until it was scanned
};

struct folder_listing {
    growable<recorder_file> files;    // by rising number
    growable<file_name> temporaries;  // left over by a recovery
    uint32_t highest_number = 0;      // of anything with a number

    const recorder_file *find(const buffer_id &id) const noexcept;
};

// Lists what there is; scans nothing.
int list_files(const base_name &base, folder_listing *listing) noexcept;

// Scans every file of a listing; what has vanished meanwhile is dropped, and so
// is what is no file at all.
int scan_files(const base_name &base, folder_listing *listing) noexcept;

}  // namespace vela

#endif
