// tagged_record.hpp: a type code, a payload, and who owns the payload.
//
// kor_cb_record and kor_hb_record differ only in the payloads they carry.
// Each describes its payloads with a table of payload_kind; the functions
// here do the rest.
//
// An empty record has type 0, no payload and owns nothing.  A record made
// around a payload borrows it; a record that was read owns what it read.
#ifndef KOR_RECORDER_TAGGED_RECORD_HPP
#define KOR_RECORDER_TAGGED_RECORD_HPP

#include <cstdint>
#include <span>

#include "common/contract.hpp"
#include "error.h"
#include "io/codec.hpp"

namespace vela {

struct payload_kind {
    uint32_t type;
    bool recycled;  // read over a payload of this type as it stands
    void *(*create_null)();
    void (*reset)(void *payload);  // destruct, then init_null
    void (*destroy)(void **payload);
    int (*write)(const void *payload, struct writer *out);
    int (*read)(void *payload, struct reader *in);
};

// The table entry of one payload type, from a traits struct that names its
// functions: object, type, recycled, create_null, init_null, destruct,
// destroy, write, read.
template <class Traits>
constexpr payload_kind payload_of() noexcept
{
    using object = typename Traits::object;
    return {
        .type = Traits::type,
        .recycled = Traits::recycled,
        .create_null = []() -> void * { return Traits::create_null(); },
        .reset =
            [](void *payload) {
                Traits::destruct(static_cast<object *>(payload));
                Traits::init_null(static_cast<object *>(payload));
            },
        .destroy =
            [](void **payload) {
                auto *typed = static_cast<object *>(*payload);
                Traits::destroy(&typed);
                *payload = typed;
            },
        .write =
            [](const void *payload, struct writer *out) {
                return Traits::write(static_cast<const object *>(payload), out);
            },
        .read =
            [](void *payload, struct reader *in) {
                return Traits::read(static_cast<object *>(payload), in);
            },
    };
}

using payload_kinds = std::span<const payload_kind>;

// Null when records of this kind have no such payload.
inline const payload_kind *find_payload(payload_kinds kinds,
                                        uint32_t type) noexcept
{
    for (const payload_kind &kind : kinds)
        if (kind.type == type) return &kind;
    return nullptr;
}

template <class Record>
void empty_record(Record &record) noexcept
{
    record.type = 0;
    record.data = nullptr;
    record.owns_data = 0;
}

template <class Record>
void borrow_payload(Record &record, uint32_t type, void *payload) noexcept
{
    record.type = type;
    record.data = payload;
    record.owns_data = 0;
}

// Destroys the payload if the record owns it.
template <class Record>
void discard_payload(Record &record, payload_kinds kinds) noexcept
{
    if (record.data != nullptr && record.owns_data != 0) {
        const payload_kind *const kind = find_payload(kinds, record.type);
        KOR_ASSERT(kind != NULL);
        kind->destroy(&record.data);
    }
    empty_record(record);
}

// Writes the type and the payload, whose kind the caller has asserted.
template <class Record>
int write_tagged(const Record &record, payload_kinds kinds,
                 struct writer *out) noexcept
{
    const payload_kind *const kind = find_payload(kinds, record.type);
    KOR_ASSERT(kind != NULL);
    encoder head(out);
    head.u32(record.type);
    if (!head.ok()) return head.result();
    const int nwritten = kind->write(record.data, out);
    return nwritten < 0 ? nwritten : head.result() + nwritten;
}

// Gives the record an empty payload of `kind`, reusing the one it has.
template <class Record>
int prepare_payload(Record &record, const payload_kind &kind) noexcept
{
    if (record.data == nullptr) {
        record.data = kind.create_null();
        return record.data != nullptr ? KOR_OK : vela_get_last_error();
    }
    if (!kind.recycled) kind.reset(record.data);
    return KOR_OK;
}

// Reads the next record of the stream into `record`.  A payload of the same
// type is read over whether or not the record owns it: part of the interface.
template <class Record>
int read_tagged(Record &record, payload_kinds kinds, struct reader *in) noexcept
{
    uint32_t type = 0;
    decoder head(in);
    head.u32(type);
    if (!head.ok()) return head.result();

    if (record.type != 0 && record.type != type) discard_payload(record, kinds);
    const payload_kind *const kind = find_payload(kinds, type);
    if (kind == nullptr) return KOR_ERR_INVALID_DATA;
    const int prepared = prepare_payload(record, *kind);
    if (prepared < 0) return prepared;

    const int nread = kind->read(record.data, in);
    if (nread <= 0) {
        kind->destroy(&record.data);
        return nread < 0 ? nread : KOR_ERR_TRUNCATED;
    }
    record.type = type;
    record.owns_data = 1;
    return head.result() + nread;
}

}  // namespace vela

#endif
