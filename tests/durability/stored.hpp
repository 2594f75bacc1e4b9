// stored.hpp: what recorder files hold, read by their description alone.
//
// None of the library's readers is used here, so that a mistake which its
// writers and readers share shows.
#ifndef KOR_TESTS_DURABILITY_STORED_HPP
#define KOR_TESTS_DURABILITY_STORED_HPP

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace durability {

inline constexpr uint32_t current_kind = 1;
inline constexpr uint32_t history_kind = 2;
inline constexpr size_t number_of_event_types = 5;

// The summary of one sensor over an interval.
struct summary {
    uint32_t n;
    float min;
    float max;
    float first;
    float last;
    float sum;
    bool operator==(const summary &) const = default;
};

using name_list = std::shared_ptr<const std::vector<std::string>>;

// A stretch of a file.
struct extent {
    size_t from = 0;
    size_t to = 0;
    bool touches(const extent &other) const
    {
        return from < other.to && other.from < to;
    }
};

enum class item_kind { sample, event, interval };

struct item {
    item_kind kind;
    uint32_t start = 0;  // seconds
    uint32_t end = 0;
    name_list names;                 // in force; null when there are none
    std::vector<float> values;       // of a sample
    std::vector<summary> summaries;  // of an interval
    std::array<uint32_t, number_of_event_types> events = {};  // by type - 1
    uint32_t event_type = 0;
    std::string text;
    extent stream;        // the zlib stream that it is in
    extent names_stream;  // and the one that its names are in
};

struct stored_buffer {
    uint32_t kind = 0;  // 0: the header cannot be read
    uint32_t capacity = 0;
    std::vector<item> items;
    size_t good_end = 0;  // behind it nothing can be read

    // Samples or intervals.
    size_t values() const;
};

// Reads the whole streams from the start of a file on.
stored_buffer read_buffer(std::string_view content);

struct stored_state {
    bool is_whole = false;
    uint32_t state = 0;
    uint32_t samples = 0;    // in a current buffer
    uint32_t intervals = 0;  // that it is folded into
    uint32_t next_number = 0;
    std::vector<std::string> files;
};

stored_state read_state(std::string_view content);

}  // namespace durability

#endif
