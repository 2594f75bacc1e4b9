// hist_value_entries.hpp: the steps of finding or adding a sensor in a list.
#ifndef KOR_MODEL_HIST_VALUE_ENTRIES_HPP
#define KOR_MODEL_HIST_VALUE_ENTRIES_HPP

#include <cstdint>
#include <type_traits>

#include "hist_value_list.h"

namespace vela {

inline constexpr uint32_t hist_value_buckets =
    std::extent_v<decltype(hist_value_list::buckets)>;

// The index of the chain in which a sensor's entry stands.
uint32_t hist_value_bucket_of(const struct sensor *sensor) noexcept;

// The entry of a sensor in whatever generation, or null.
struct hist_value_list_entry *find_hist_value(
    const struct hist_value_list &list, const struct sensor *sensor) noexcept;

// The summary of an entry, emptied if it is one of an earlier generation.
struct hist_value *claim_hist_value(struct hist_value_list &list,
                                    struct hist_value_list_entry &e) noexcept;

// A new entry at the head of its chain, for a sensor that has none.  Null with
// the last error set if there is no memory.
struct hist_value_list_entry *push_hist_value(
    struct hist_value_list &list, const struct sensor *sensor) noexcept;

}  // namespace vela

#endif
