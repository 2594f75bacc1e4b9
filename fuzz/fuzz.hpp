// fuzz.hpp: what every fuzz target leans on.
//
// An input is good if the library answers it with a result, with a code or
// with a broken contract that the target lists: an assertion that the interface
// promises and that such an input can break.  Any other abort, a memory error,
// a leak, a hang and a file outside the scratch folder are finds.
#ifndef KOR_FUZZ_FUZZ_HPP
#define KOR_FUZZ_FUZZ_HPP

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>

#include "libkor.h"

namespace fuzz {

// The bytes of one input.
struct input {
    const uint8_t *data;
    size_t size;

    // Takes the first byte off; 0 when there is none.
    uint8_t take();
};

// Runs `body` in the scratch folder, which is empty then.  A broken contract
// whose expression is among `documented` ends it early: whatever the abandoned
// call had allocated or opened is then released.
void run(input in, void (*body)(input),
         std::initializer_list<const char *> documented);

// A reader over the input.  Nothing of it needs to be released.
struct reader *reader_over(input in);

// A writer that forgets what it is given.
struct writer *sink();

// Removes every file of the scratch folder.
void empty_folder();
// Writes a file of the scratch folder; the second, deflated as one stream.
// `mode` is that of fopen.
void write_file(const char *name, input content, const char *mode = "w");
void write_deflated(const char *name, input content, const char *mode = "w");

}  // namespace fuzz

// The entry of a target whose body is `body`; behind it, the expressions of
// the assertions that its inputs may break.
#define FUZZ_TARGET(body, ...)                                              \
    extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) \
    {                                                                       \
        fuzz::run({data, size}, body, {__VA_ARGS__});                       \
        return 0;                                                           \
    }

#endif
