// lost_names.hpp: names for readings whose names record was lost.
#ifndef KOR_RECORDER_LOST_NAMES_HPP
#define KOR_RECORDER_LOST_NAMES_HPP

#include <cstdint>

#include "recorder/scanned_record.hpp"

namespace vela {

// A file that may still have them.
struct names_source {
    const char *path;
    uint32_t kind;  // KOR_BUFFER_TYPE_*
};

// The first names in a file of the same kind whose number is `count`, in the
// order of the sources; for a history, all different, or else those of a
// current buffer in the order in which a history lists them, where that is
// certain; else placeholders.  Returns 0 or a negative code.
int find_lost_names(const names_source *sources, uint32_t nsources,
                    uint32_t kind, uint32_t count,
                    column_names *names) noexcept;

}  // namespace vela

#endif
