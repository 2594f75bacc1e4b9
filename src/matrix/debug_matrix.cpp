// Matrices on standard output, for a person to look at.
//
// The telemetry variant prints through the text writer, which lies in a layer
// above this one: the one include that points upward.
#include "debug_matrix.h"

#include <cstdio>

#include "common/contract.hpp"
#include "raw_writer.h"
#include "vorn_serializer.h"
#include "vorn_writer.h"

namespace {
constexpr uint32_t keep_open = 1;
}  // namespace

static void _debug_matrix_print_header(const char *name, const char *file,
                                       int line)
{
    std::printf("\n%s:%d: matrix %s =\n", file, line, name);
}

void _vela_debug_matrix_print(const struct matrix *m, const char *name,
                              const char *file, int line)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(name != NULL);
    KOR_ASSERT(file != NULL);
    KOR_ASSERT(line > 0);
    _debug_matrix_print_header(name, file, line);
    const uint32_t nrows = matrix_get_number_rows(m);
    const uint32_t ncols = matrix_get_number_columns(m);
    for (uint32_t i = 0; i < nrows; ++i) {
        for (uint32_t j = 0; j < ncols; ++j)
            std::printf("%10.6lf ", matrix_get(m, i, j));
        std::printf("\n");
    }
    std::printf("\n");
}

void _vela_debug_telemetry_matrix_print(struct matrix *m, const char *name,
                                        const char *file, int line)
{
    KOR_ASSERT(m != NULL);
    KOR_ASSERT(matrix_get_type(m) == MATRIX_TYPE_TELEMETRY);
    KOR_ASSERT(name != NULL);
    KOR_ASSERT(file != NULL);
    KOR_ASSERT(line > 0);
    struct writer *stdout_writer = raw_writer_create(stdout, keep_open);
    if (stdout_writer != nullptr)
        stdout_writer = vorn_writer_create(stdout_writer);
    KOR_ASSERT(stdout_writer != NULL);
    _debug_matrix_print_header(name, file, line);
    // As with printf, what standard output refuses is lost without a word.
    vorn_serializer_write_matrix(m, stdout_writer);
    writer_destroy(&stdout_writer);
    std::printf("\n");
}
