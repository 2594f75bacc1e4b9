// small_recorder.hpp: a small recorder whose files an input damages.
#ifndef KOR_FUZZ_SMALL_RECORDER_HPP
#define KOR_FUZZ_SMALL_RECORDER_HPP

#include "fuzz.hpp"

namespace fuzz {

// The recorder is called "r" and has these parameters.
inline constexpr uint32_t recorder_samples = 4;
inline constexpr uint32_t recorder_intervals = 2;

// Writes the files of a recorder that was closed at one of its stages: one in
// each storage state, with room in its open buffer, and one whose history has
// been folded a second time.
inline constexpr unsigned recorder_stages = 5;
void write_recorder(unsigned stage);

// Damages the files of the recorder as the input says, piece by piece, up to
// its end or to a pause.  Returns what is left of it.
input damage(input in);

// Records that many samples, an event behind each of them.
void record(struct kor *kor, unsigned nsamples);

struct timestamp time_at(uint32_t seconds);

// A sample of two sensors; for matrix_destroy.
struct matrix *create_vector(const struct timestamp &t);

}  // namespace fuzz

#endif
