// hist_value_columns.hpp: a list's summaries by column number.
//
// A fold meets the same sensors in the same columns sample after sample.  Once
// a column's entry is known, claiming its summary needs no search:
//
//     vela::hist_columns columns;
//     for each names record:   columns.bind(list, names)
//     for each reading i:      hist_value_update(columns.claim(i), reading)
//
// The list ends up exactly as by hist_value_list_add_if_not_present for each
// reading: the same chains in the same order, the same counts.
#ifndef KOR_MODEL_HIST_VALUE_COLUMNS_HPP
#define KOR_MODEL_HIST_VALUE_COLUMNS_HPP

#include <cstdint>

#include "common/lifecycle.hpp"
#include "hist_value_list.h"
#include "sensor_array.h"

namespace vela {

class hist_columns {
public:
    // Columns 0 to n-1 now stand for the sensors of the array, none of them
    // null, which must live until the next call.  The list must be the same in
    // all calls and outlive the last claim.  Returns 0 or KOR_ERR_NO_MEMORY
    // (-22), and then no column may be claimed.
    int bind(struct hist_value_list &list,
             const struct sensor_array &sensors) noexcept;

    // The summary of column `i` in the current generation, added if needed.
    // Null with the last error set if there is no memory.
    struct hist_value *claim(uint32_t i) noexcept;

private:
    using entry = struct hist_value_list_entry;

    struct column {
        const struct sensor *sensor;  // canonical
        entry *found;                 // null until the first claim
    };

    entry *resolve(const struct sensor *sensor) noexcept;
    bool learn_chain(uint32_t bucket) noexcept;
    bool learn(entry *e) noexcept;
    bool make_room() noexcept;
    entry *&place_of(const struct sensor *sensor) const noexcept;

    struct hist_value_list *list_ = nullptr;
    heap<column> columns_;
    uint32_t ncolumns_ = 0;
    uint32_t capacity_ = 0;  // of columns_

    // Every entry of the list from the heads in known_heads_ on, by its
    // sensor's address: open addressing, at most half full.
    heap<entry *> table_;
    uint32_t table_size_ = 0;  // a power of two, or 0
    uint32_t nknown_ = 0;
    heap<entry *> known_heads_;  // of each bucket
};

}  // namespace vela

#endif
