// fold_proof.hpp: are the intervals of a history those of given files?
//
// The same additions in the same order as the recorder's own folds, over
// scanned files: a pass yields one interval after another and holds no more
// than one.
#ifndef KOR_RECORDER_FOLD_PROOF_HPP
#define KOR_RECORDER_FOLD_PROOF_HPP

#include <cstdint>

#include "hist_value_list.h"
#include "kor_hb_record_events.h"
#include "recorder/buffer_scan.hpp"
#include "recorder/heap_object.hpp"
#include "sensor_array.h"

namespace vela {

enum class folded {
    interval,
    end,
    unfit,   // the recorder would not fold this file to its end
    failed,  // see error()
};

// One file on its way into a history: a current buffer folded, or a history
// merged two by two.
class fold_pass {
public:
    ~fold_pass();

    // samples_per_interval is for a current buffer.
    int open(const char *path, uint32_t samples_per_interval) noexcept;
    folded next() noexcept;

    // The interval that next() gave.
    const struct timestamp &start() const noexcept { return start_; }
    const struct timestamp &end() const noexcept { return end_; }
    const struct kor_hb_record_events &events() const noexcept
    {
        return events_;
    }
    const struct hist_value_list &list() const noexcept { return list_; }
    // Writes it as a record.  Returns the byte count or a negative code.
    int write_to(struct writer *out) noexcept;
    int error() const noexcept { return error_; }

private:
    folded fail(int code) noexcept;
    void begin_interval() noexcept;
    bool take_names() noexcept;
    bool count_event() noexcept;
    struct hist_value *column(uint32_t i) noexcept;
    folded take_values() noexcept;
    folded take_record() noexcept;

    buffer_scan scan_;
    struct hist_value_list list_ = {};
    struct sensor_array *sensors_ = nullptr;
    // The list's entries of the columns, as far as they are known.
    growable<struct hist_value *> columns_;
    struct timestamp start_ = {};
    struct timestamp end_ = {};
    struct kor_hb_record_events events_ = {};
    uint32_t values_per_interval_ = 0;
    uint32_t taken_ = 0;  // values in the interval in progress
    uint32_t given_ = 0;  // intervals
    int error_ = 0;
};

// The intervals of a history file, one after another.
class interval_reader {
public:
    int open(const char *path) noexcept;
    // Moves on: `interval`, `end` or `failed`.
    folded next() noexcept;
    // Whether the current interval is, bit for bit, what `pass` gave.
    // Returns 1, 0 or KOR_ERR_NO_MEMORY.
    int equals(const fold_pass &pass) const noexcept;
    int error() const noexcept { return scan_.error(); }

private:
    buffer_scan scan_;
};

// What to compare: intervals first .. first + count of a history with all that
// the sources give one after another.
struct fold_claim {
    const char *history;
    uint32_t first;
    uint32_t count;
    const char *sources[2];  // the second may be null
    uint32_t samples_per_interval;
    bool partly;  // the sources may give more than `count`
};

// Returns 1 when the claim holds, 0 when not, or a negative code.
int prove_folded(const fold_claim &claim) noexcept;

}  // namespace vela

#endif
