// recording.hpp: a recorder on a disk in memory, its ledger beside it.
#ifndef KOR_TESTS_DURABILITY_RECORDING_HPP
#define KOR_TESTS_DURABILITY_RECORDING_HPP

#include <cstdint>
#include <string>

#include "chance.hpp"
#include "disk.hpp"
#include "kor.h"
#include "ledger.hpp"

namespace durability {

inline const std::string base_name = "rec";
inline const std::string state_name = "rec.state";

struct parameters {
    uint32_t samples;    // in a current buffer
    uint32_t intervals;  // that it is folded into
};

// What a script does, drawn from its seed.
struct script {
    explicit script(uint64_t number);

    uint64_t seed;
    parameters size;
    uint32_t samples;      // to record
    bool is_wide;          // streams of many writes
    unsigned sync_one_in;  // of the steps is a sync
};

// Drives one recorder.  The disk must be mounted by the caller, and the
// recorder is closed before it is unmounted.
class recording {
public:
    recording(const disk &d, ledger *l, const script &s, uint64_t seed);
    recording(const recording &) = delete;
    recording &operator=(const recording &) = delete;

    bool create();
    // As an application starts: after recovering what needs it.
    bool resume();
    // As one that knows of no recovery; false when the recorder is not whole.
    bool open();
    void close();
    bool is_open() const { return kor_ != nullptr; }

    // Each returns what the recorder did.
    int sample();
    int event();
    int sync();
    // One of these, at random, or a reopening.
    void step();
    // Steps until that many samples more were taken.
    void record(uint32_t samples);

    // The last number that a successful sync has covered.
    uint32_t synced() const { return synced_; }

private:
    bool fills_its_file() const;
    void reopen_if_stuck(int result);

    const disk &disk_;
    ledger &ledger_;
    const script &script_;
    chance random_;
    struct kor *kor_ = nullptr;
    size_t set_;
    uint32_t taken_ = 0;
    uint32_t synced_ = 0;
};

// Sets what became of a record in flight when the process was killed: it was
// taken if it is complete on the disk.
void settle_by_disk(const disk &d, const script &s, ledger *l);

// The items of the recorder on a disk in playing order.
struct playback {
    bool has_state = false;
    stored_state state;
    std::vector<item> items;
    std::string problem;  // what the files must not be
};
playback play(const disk &d);

// Compares a disk with the ledger and counts what differs; true when nothing
// does.
enum class leftovers { none, set_aside };
bool audit(const disk &d, const ledger &l, leftovers allowed);

}  // namespace durability

#endif
