// lent.hpp: heap readers and writers that pass every call on to another one.
//
// An object that owns and destroys its base stream can be given one of these;
// the stream behind it stays the test's.
#ifndef KOR_TESTS_LENT_HPP
#define KOR_TESTS_LENT_HPP

#include "reader.h"
#include "writer.h"

namespace test {

// What has happened to the streams lent out with it.
struct lent_log {
    int reads = 0;
    int writes = 0;
    int flushes = 0;
    int destructs = 0;
};

// Owned by whoever takes it; `target` and `log` must outlive it.
struct reader *lend(struct reader *target, lent_log *log = nullptr);
struct writer *lend(struct writer *target, lent_log *log = nullptr);

}  // namespace test

#endif
