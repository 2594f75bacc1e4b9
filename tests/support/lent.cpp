#include "support/lent.hpp"

#include <cstdlib>

namespace {

template <class Stream>
struct state {
    Stream *target;
    test::lent_log *log;
};
using reader_state = state<struct reader>;
using writer_state = state<struct writer>;

template <class State>
void count(void *s, int test::lent_log::*what)
{
    test::lent_log *const log = static_cast<State *>(s)->log;
    if (log != nullptr) ++(log->*what);
}

template <class State, class Stream>
State *new_state(Stream *target, test::lent_log *log)
{
    auto *made = static_cast<State *>(std::malloc(sizeof(State)));
    if (made != nullptr) *made = {target, log};
    return made;
}

}  // namespace

namespace test {

struct reader *lend(struct reader *target, lent_log *log)
{
    auto *lent =
        static_cast<struct reader *>(std::calloc(1, sizeof(struct reader)));
    auto *inner = new_state<reader_state>(target, log);
    if (lent == nullptr || inner == nullptr) std::abort();
    lent->version = READER_VERSION;
    lent->type = target->type;
    lent->reader = inner;
    lent->fn_read_bytes = [](void *s, void *buf, uint32_t len) {
        count<reader_state>(s, &lent_log::reads);
        struct reader *behind = static_cast<reader_state *>(s)->target;
        return behind->fn_read_bytes(behind->reader, buf, len);
    };
    lent->fn_eof = [](void *s) {
        struct reader *behind = static_cast<reader_state *>(s)->target;
        return behind->fn_eof(behind->reader);
    };
    lent->fn_destruct = [](void *s) {
        count<reader_state>(s, &lent_log::destructs);
        return 0;
    };
    return lent;
}

struct writer *lend(struct writer *target, lent_log *log)
{
    auto *lent =
        static_cast<struct writer *>(std::calloc(1, sizeof(struct writer)));
    auto *inner = new_state<writer_state>(target, log);
    if (lent == nullptr || inner == nullptr) std::abort();
    lent->version = WRITER_VERSION;
    lent->type = target->type;
    lent->writer = inner;
    lent->fn_write_bytes = [](void *s, const void *buf, uint32_t len) {
        count<writer_state>(s, &lent_log::writes);
        struct writer *behind = static_cast<writer_state *>(s)->target;
        return behind->fn_write_bytes(behind->writer, buf, len);
    };
    lent->fn_flush = [](void *s) {
        count<writer_state>(s, &lent_log::flushes);
        struct writer *behind = static_cast<writer_state *>(s)->target;
        return behind->fn_flush(behind->writer);
    };
    lent->fn_destruct = [](void *s) {
        count<writer_state>(s, &lent_log::destructs);
        return 0;
    };
    return lent;
}

}  // namespace test
