#include "reader.h"

#include <cstdlib>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"

int _reader_init(struct reader *reader, uint32_t type)
{
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(type > 0);
    reader->version = READER_VERSION;
    reader->type = type;
    reader->reader = nullptr;
    return KOR_OK;
}

void _reader_destruct(struct reader *reader)
{
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(reader->version == READER_VERSION);
    reader->version = 0;
    reader->type = 0;
}

int reader_read_bytes(struct reader *reader, void *buf, uint32_t len)
{
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(reader->version == READER_VERSION);
    KOR_ASSERT(reader->fn_read_bytes != NULL);
    KOR_ASSERT(buf != NULL);
    return reader->fn_read_bytes(reader->reader, buf, len);
}

int reader_eof(struct reader *reader)
{
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(reader->version == READER_VERSION);
    KOR_ASSERT(reader->fn_eof != NULL);
    return reader->fn_eof(reader->reader);
}

void reader_destruct(struct reader *reader)
{
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(reader->version == READER_VERSION);
    KOR_ASSERT(reader->fn_destruct != NULL);
    _reader_destruct(reader);
    // Part of the interface: what the operation returns goes nowhere.
    reader->fn_destruct(reader->reader);
    std::free(reader->reader);
    reader->reader = nullptr;
}

void reader_destroy(struct reader **reader)
{
    KOR_ASSERT(reader != NULL);
    KOR_ASSERT(*reader != NULL);
    vela::destroy(reader, reader_destruct);
}
