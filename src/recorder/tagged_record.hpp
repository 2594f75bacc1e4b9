// tagged_record.hpp: a type code, a payload, and who owns the payload.
//
// kor_cb_record and kor_hb_record differ only in the payloads they carry.
// Each describes its payloads with a table of payload_kind; the functions
// here do the rest.
#ifndef KOR_RECORDER_TAGGED_RECORD_HPP
#define KOR_RECORDER_TAGGED_RECORD_HPP

#include <cstdint>
#include <span>

#include "io/codec.hpp"
#include "error.h"

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

inline const payload_kind *find_payload(payload_kinds kinds,
                                        uint32_t type) noexcept
{
    for (const payload_kind &kind : kinds)
        if (kind.type == type) return &kind;
    return nullptr;
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

// Reads the next record of the stream into `record`.  `discard` empties a
// record of another type first.
template <class Record>
int read_tagged(Record &record, payload_kinds kinds, void (*discard)(Record *),
                struct reader *in) noexcept
{
    uint32_t type = 0;
    decoder head(in);
    head.u32(type);
    if (!head.ok()) return head.result();

    if (record.type != 0 && record.type != type) discard(&record);
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
