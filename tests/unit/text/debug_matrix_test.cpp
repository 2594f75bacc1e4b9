#include "debug_matrix.h"

#include "unit/text/text_support.hpp"

using test::create_matrix;
using test::create_telemetry;
using test::new_year_2007;

namespace {

// What a call writes to standard output.
template <class Call>
std::string printed(Call call)
{
    std::fflush(stdout);
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

}  // namespace

class DebugMatrix : public test::InUtc {};
class DebugMatrixDeathTest : public test::InUtc {};

TEST_F(DebugMatrix, IsPrintedRowByRow)
{
    struct matrix *m = create_matrix({{1, -2.5}, {1234567.125, 1e-7}});
    EXPECT_EQ(printed([m] { _vela_debug_matrix_print(m, "A", "f.c", 12); }),
              "\nf.c:12: matrix A =\n"
              "  1.000000  -2.500000 \n"
              "1234567.125000   0.000000 \n"
              "\n");
    matrix_destroy(&m);
}

TEST_F(DebugMatrix, IsPrintedAsTextTelemetry)
{
    struct matrix *m =
        create_telemetry({"a", "b"}, new_year_2007, {{1, 2}, {3, 4}});
    EXPECT_EQ(
        printed([m] { _vela_debug_telemetry_matrix_print(m, "T", "g.c", 3); }),
        "\ng.c:3: matrix T =\n"
        "20070101:00:00:00,a,b\n"
        "20070101:00:00:00,1.000,2.000\n"
        "20070101:00:00:01,3.000,4.000\n"
        "\n");
    matrix_destroy(&m);
}

TEST_F(DebugMatrix, LeavesStandardOutputOpenAndNothingBehind)
{
    struct matrix *m = create_telemetry({"a"}, 0, {{1}});
    const test::allocation_count blocks;
    const std::string text = printed([m] {
        _vela_debug_telemetry_matrix_print(m, "T", "g.c", 3);
        std::printf("still here");
    });
    EXPECT_EQ(blocks.live(), 0);
    EXPECT_THAT(text, testing::EndsWith("1.000\n\nstill here"));
    matrix_destroy(&m);
}

TEST_F(DebugMatrixDeathTest, WrongArgumentsAbort)
{
    struct matrix *m = create_matrix({{1}});
    EXPECT_ABORTS(_vela_debug_matrix_print(NULL, "A", "f.c", 1), "m != NULL");
    EXPECT_ABORTS(_vela_debug_matrix_print(m, NULL, "f.c", 1), "name != NULL");
    EXPECT_ABORTS(_vela_debug_matrix_print(m, "A", NULL, 1), "file != NULL");
    EXPECT_ABORTS(_vela_debug_matrix_print(m, "A", "f.c", 0), "line > 0");
    EXPECT_ABORTS(_vela_debug_telemetry_matrix_print(m, "A", "f.c", 1),
                  "matrix_get_type(m) == MATRIX_TYPE_TELEMETRY");
    matrix_destroy(&m);

    m = create_telemetry({"a"}, 0, {{1}});
    EXPECT_ABORTS(_vela_debug_telemetry_matrix_print(NULL, "A", "f.c", 1),
                  "m != NULL");
    EXPECT_ABORTS(_vela_debug_telemetry_matrix_print(m, NULL, "f.c", 1),
                  "name != NULL");
    EXPECT_ABORTS(_vela_debug_telemetry_matrix_print(m, "A", NULL, 1),
                  "file != NULL");
    EXPECT_ABORTS(_vela_debug_telemetry_matrix_print(m, "A", "f.c", 0),
                  "line > 0");
    matrix_destroy(&m);
}

TEST_F(DebugMatrixDeathTest, PrintingWithoutMemoryAborts)
{
    struct matrix *m = create_telemetry({"a"}, 0, {{1}});
    for (int n = 0; n < 4; ++n) {  // two writers and the state of each
        SCOPED_TRACE(n);
        const test::failing_allocation failing(n);
        EXPECT_ABORTS_IN("_vela_debug_telemetry_matrix_print",
                         _vela_debug_telemetry_matrix_print(m, "A", "f.c", 1),
                         "stdout_writer != NULL");
    }
    matrix_destroy(&m);
}
