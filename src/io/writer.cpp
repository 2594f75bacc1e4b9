#include "writer.h"

#include <bit>
#include <cstdlib>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "io/byte_order.hpp"

int _writer_init(struct writer *writer, uint32_t type)
{
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(type > 0);
    writer->version = WRITER_VERSION;
    writer->type = type;
    writer->writer = nullptr;
    return KOR_OK;
}

void _writer_destruct(struct writer *writer)
{
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(writer->version == WRITER_VERSION);
    writer->version = 0;
    writer->type = 0;
}

int writer_write_bytes(struct writer *writer, const void *buf, uint32_t len)
{
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(writer->version == WRITER_VERSION);
    KOR_ASSERT(writer->fn_write_bytes != NULL);
    KOR_ASSERT(writer->writer != NULL);
    KOR_ASSERT(buf != NULL);
    return writer->fn_write_bytes(writer->writer, buf, len);
}

int writer_flush(struct writer *writer)
{
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(writer->version == WRITER_VERSION);
    KOR_ASSERT(writer->fn_flush != NULL);
    KOR_ASSERT(writer->writer != NULL);
    return writer->fn_flush(writer->writer);
}

void writer_destruct(struct writer *writer)
{
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(writer->version == WRITER_VERSION);
    KOR_ASSERT(writer->fn_destruct != NULL);
    KOR_ASSERT(writer->writer != NULL);
    _writer_destruct(writer);
    // Part of the interface: a failure of the last flush goes unreported.
    writer->fn_destruct(writer->writer);
    std::free(writer->writer);
    *writer = {};
}

void writer_destroy(struct writer **writer)
{
    KOR_ASSERT(writer != NULL);
    KOR_ASSERT(*writer != NULL);
    vela::destroy(writer, writer_destruct);
}

float hton_float(float f)
{
    return std::bit_cast<float>(vela::big_endian(std::bit_cast<uint32_t>(f)));
}

float ntoh_float(float f)
{
    return hton_float(f);
}

double hton_double(double d)
{
    return std::bit_cast<double>(vela::big_endian(std::bit_cast<uint64_t>(d)));
}

double ntoh_double(double d)
{
    return hton_double(d);
}
