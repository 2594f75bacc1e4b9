// recording.hpp: a recorder open for writing.
#ifndef KOR_TOOL_RECORDING_HPP
#define KOR_TOOL_RECORDING_HPP

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kor.h"
#include "owned.hpp"

namespace tool {

struct recorder_parameters {
    uint32_t samples = 3600;  // of a current buffer
    uint32_t intervals = 60;  // that it is summarised into
};

// Throws a failure of wrong usage for parameters that no recorder can have.
void check_parameters(const recorder_parameters &parameters);

// Throws a failure of wrong usage for a base name that no recorder can have.
void check_base_name(const std::string &base);

// Resumes or creates a recorder.  Every failure throws.
class recording {
public:
    recording(const std::string &base, const recorder_parameters &parameters);

    // The sensors of the samples that follow.
    void use_sensors(const std::vector<std::string> &names);
    void write_sample(int32_t time, const std::vector<float> &values);
    void write_event(int32_t time, uint32_t type, const std::string &text);

    // Whether an event written now keeps its place.  A file that begins with
    // an event cannot be opened again, and an event behind the last sample a
    // file can hold is dropped when the file is folded.
    bool takes_events() const;

    // Makes what was written survive a power cut.
    void sync();

private:
    std::string base_;
    owned<kor_close> recorder_;
    owned<matrix_destroy> vector_;
};

}  // namespace tool

#endif
