#include "binary_serializer_common.h"

#include <cstdlib>
#include <cstring>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "io/codec.hpp"

int binary_serializer_write_string(const char *str, struct writer *writer)
{
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(str != NULL);
    const size_t length = std::strlen(str);
    if (length > vela::max_serialized_count) return KOR_ERR_TOO_LONG;
    vela::encoder out(writer);
    out.u32(static_cast<uint32_t>(length));
    out.bytes(str, static_cast<uint32_t>(length));
    return out.result();
}

char *binary_serializer_read_string(struct reader *reader, int *nread_total)
{
    KOR_ASSERT(reader != NULL);
    if (nread_total != nullptr) *nread_total = 0;
    uint32_t wire = 0;
    int nread = binary_serializer_read_bytes(&wire, sizeof wire, reader);
    if (nread == 0) {
        KOR_ASSERT(reader_eof(reader));
        return vela::fail(KOR_ERR_END_OF_STREAM);
    }
    if (nread < 0) return vela::fail(nread);
    // Part of the interface: an empty string is written but not read back.
    const uint32_t length = vela::big_endian(wire);
    if (length < 1 || length > vela::max_serialized_count)
        return vela::fail(KOR_ERR_INVALID_DATA);
    // Zeroed, since a damaging reader may report bytes that it never stored.
    vela::heap<char> str(static_cast<char *>(std::calloc(length + 1, 1)));
    if (!str) return vela::fail(KOR_ERR_NO_MEMORY);
    nread = binary_serializer_read_bytes(str.get(), length, reader);
    // Part of the interface: a stream that ends right here is a broken promise
    // of the writer's, unlike one that ends a byte later.
    KOR_ASSERT(nread != 0);
    if (nread < 0) return vela::fail(nread);
    if (std::strlen(str.get()) < length)
        return vela::fail(KOR_ERR_INVALID_DATA);
    if (nread_total != nullptr)
        *nread_total = static_cast<int>(sizeof wire + length);
    return str.release();
}

int binary_serializer_read_bytes(void *buf, uint32_t buflen,
                                 struct reader *reader)
{
    KOR_ASSERT(buf != NULL);
    KOR_ASSERT(buflen > 0);
    KOR_ASSERT(reader != NULL);
    const int result = reader_read_bytes(reader, buf, buflen);
    if (result <= 0) return result;
    const auto nread = static_cast<uint32_t>(result);
    if (nread == buflen) return result;
    KOR_ASSERT(nread < buflen);
    return KOR_ERR_TRUNCATED;
}
