// fuzz.hpp: what every fuzz target leans on.
//
// An input is good if the library answers it with a result, a code or one of
// its documented aborts.  A memory error, a leak, a hang or an abort that is
// not a broken contract is a find.
#ifndef KOR_FUZZ_FUZZ_HPP
#define KOR_FUZZ_FUZZ_HPP

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "libkor.h"

namespace fuzz {

// The bytes of one input.
struct input {
    const uint8_t *data;
    size_t size;

    // Takes the first byte off; 0 when there is none.
    uint8_t take();
};

// Runs `body`.  A broken contract ends it early: whatever the abandoned call
// had allocated or opened is then released.
void run(input in, void (*body)(input));

// A reader over the input.  Nothing of it needs to be released.
struct reader *reader_over(input in);

// A writer that forgets what it is given.
struct writer *sink();

// The one folder, in memory, that targets write their files to.  Emptied
// before each input.
const char *folder();
// Writes a file of that folder and returns its path.
const char *write_file(const char *name, input content);
// The same, but the content deflated as one stream.
const char *write_deflated(const char *name, input content);

}  // namespace fuzz

// The entry of a target whose body is `body`.
#define FUZZ_TARGET(body)                                                   \
    extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) \
    {                                                                       \
        fuzz::run({data, size}, body);                                      \
        return 0;                                                           \
    }

#endif
