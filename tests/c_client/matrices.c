/*
 * matrices.c: matrices of all kinds, their arithmetic and their stored form.
 */
#define _POSIX_C_SOURCE 200809L
#include <math.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "binary_serializer.h"
#include "check.h"
#include "debug_matrix.h"
#include "double_util.h"
#include "error.h"
#include "matrix.h"
#include "matrix_compare.h"
#include "matrix_lu.h"
#include "matrix_ops.h"
#include "matrix_slices.h"
#include "raw_reader.h"
#include "raw_writer.h"
#include "telemetry_matrix.h"
#include "transposed_matrix.h"

/* A regular matrix of given rows. */
static matrix *rows_of(uint32_t nrows, uint32_t ncols, const double *values)
{
    matrix *m = matrix_create(nrows, ncols);
    for (uint32_t i = 0; i < nrows * ncols; ++i)
        matrix_set(m, i / ncols, i % ncols, values[i]);
    return m;
}

static matrix *square(void)
{
    const double values[] = {1, 2, 3, 4};
    return rows_of(2, 2, values);
}

/* Whether m has these values; m is destroyed. */
static int are_values(matrix *m, uint32_t nrows, uint32_t ncols,
                      const double *values)
{
    if (m == NULL) return 0;
    matrix *expected = rows_of(nrows, ncols, values);
    const int result = matrix_is_equal(m, expected);
    matrix_destroy(&expected);
    matrix_destroy(&m);
    return result;
}

#define ARE_VALUES(m, nrows, ncols, ...) \
    are_values(m, nrows, ncols, (const double[]){__VA_ARGS__})

static void core(void)
{
    matrix *m = square();
    CHECK(matrix_get_number_rows(m) == 2 && matrix_get_number_columns(m) == 2);
    CHECK(matrix_get_type(m) == MATRIX_TYPE_REGULAR);
    CHECK(matrix_enable_direct_access(m)[1][0] == 3.0);
    CHECK(double_is_equal(matrix_norm_F(m), sqrt(30)));
    CHECK(double_is_equal(matrix_norm_inf(m), 7));
    CHECK(double_is_equal(matrix_condition_number_inf(m), 21));
    CHECK(matrix_resize(m, 3, 1) == 0 && ARE_VALUES(m, 3, 1, 1, 3, 0));

    m = square();
    matrix *inverse = matrix_inverse(m);
    matrix *unit = matrix_create_identity(2);
    matrix *product = matrix_multiply(m, inverse);
    CHECK(matrix_is_equal(product, unit));
    matrix *like = matrix_create_like(m);
    CHECK(matrix_is_equal_dimensions(m, like));
    CHECK(matrix_is_equal_scalar(like, 0));
    matrix_destroy(&like);
    matrix_destroy(&product);
    matrix_destroy(&unit);
    matrix_destroy(&inverse);
    matrix_destroy(&m);
    CHECK(m == NULL);
}

static void arithmetic(void)
{
    matrix *m = square();
    matrix *ones = matrix_create_ones(2, 2);
    CHECK(ARE_VALUES(matrix_add(m, ones), 2, 2, 2, 3, 4, 5));
    CHECK(ARE_VALUES(matrix_subtract(ones, m), 2, 2, 0, -1, -2, -3));
    CHECK(ARE_VALUES(matrix_scalar_multiply(m, 2), 2, 2, 2, 4, 6, 8));
    CHECK(ARE_VALUES(matrix_scalar_divide(m, 2), 2, 2, .5, 1, 1.5, 2));
    CHECK(matrix_scalar_divide(m, 0) == NULL);
    CHECK(vela_get_last_error() == KOR_ERR_DIVISION_BY_ZERO);
    CHECK(ARE_VALUES(matrix_elemental_square(m), 2, 2, 1, 4, 9, 16));
    CHECK(matrix_accum_element(ones, 0, 0, -3) == -2);
    CHECK(ARE_VALUES(matrix_elemental_abs(ones), 2, 2, 2, 1, 1, 1));
    CHECK(matrix_elemental_sqrt(ones) == NULL);
    CHECK(vela_get_last_error() == KOR_ERR_NEGATIVE_ROOT);
    matrix_clear(ones);
    CHECK(ARE_VALUES(matrix_elemental_exp(ones), 2, 2, 1, 1, 1, 1));
    matrix_accum(ones, m);
    CHECK(matrix_is_equal(ones, m));
    matrix_destroy(&ones);
    matrix_destroy(&m);
}

static void statistics(void)
{
    matrix *m = square();
    matrix *mean = matrix_column_mean(m);
    matrix *deviation = matrix_column_std_dev(m);
    matrix *scaled = matrix_gaussian_normalize(m, mean, deviation);
    CHECK(ARE_VALUES(matrix_copy(mean), 1, 2, 2, 3));
    CHECK(ARE_VALUES(matrix_copy(deviation), 1, 2, 1, 1));
    CHECK(ARE_VALUES(matrix_copy(scaled), 2, 2, -1, -1, 1, 1));
    CHECK(ARE_VALUES(matrix_gaussian_denormalize(scaled, mean, deviation), 2, 2,
                     1, 2, 3, 4));
    CHECK(ARE_VALUES(matrix_column_sum(m), 1, 2, 4, 6));
    CHECK(ARE_VALUES(matrix_euclidean_length(m), 2, 1, sqrt(5), 5));
    CHECK(ARE_VALUES(matrix_euclidean_distance(m, m), 2, 1, 0, 0));
    CHECK(ARE_VALUES(matrix_euclidean_distance_sq_with_row_vector(m, mean), 2,
                     1, 2, 2));
    matrix_destroy(&scaled);
    matrix_destroy(&deviation);
    matrix_destroy(&mean);
    matrix_destroy(&m);
}

static void comparison(void)
{
    matrix *m = square();
    matrix *more = matrix_scalar_multiply(m, 2);
    CHECK(matrix_is_less(m, more) && matrix_is_less_equal(m, m));
    CHECK(matrix_is_greater(more, m) && matrix_is_greater_equal(m, m));
    CHECK(!matrix_is_less(m, m) && !matrix_is_greater(m, more));
    CHECK(matrix_is_less_scalar(m, 5) && !matrix_is_less_scalar(m, 4));
    CHECK(matrix_is_less_equal_scalar(m, 4));
    CHECK(matrix_is_greater_scalar(m, 0) && !matrix_is_greater_scalar(m, 1));
    CHECK(matrix_is_greater_equal_scalar(m, 1));
    matrix_destroy(&more);
    matrix_destroy(&m);
}

static void decomposition(void)
{
    matrix *m = square();
    matrix_lu *lu = matrix_lu_create(m);
    CHECK(matrix_lu_get_rank(lu) == 2);
    CHECK(double_is_equal(fabs(matrix_lu_get_det(lu)), 2));
    CHECK(ARE_VALUES(
        matrix_multiply(matrix_lu_get_lower(lu), matrix_lu_get_upper(lu)), 2, 2,
        1, 2, 3, 4));
    matrix_lu_destroy(&lu);
    CHECK(lu == NULL);

    const double right[] = {5, 11};
    matrix *b = rows_of(2, 1, right);
    CHECK(ARE_VALUES(matrix_lu_solve_for(m, b), 2, 1, 1, 2));
    matrix_set(m, 1, 1, 6);
    vela_set_last_error(KOR_OK);
    CHECK(matrix_inverse(m) == NULL && vela_get_last_error() == KOR_OK);
    CHECK(matrix_condition_number_inf(m) == -1.0);
    matrix_destroy(&b);
    matrix_destroy(&m);
}

static void slices(void)
{
    const uint32_t swapped[] = {1, 0};
    matrix *m = square();
    CHECK(ARE_VALUES(matrix_get_columns(m, swapped, 2), 2, 2, 2, 1, 4, 3));
    CHECK(ARE_VALUES(matrix_get_rows(m, swapped, 1), 1, 2, 3, 4));
    CHECK(ARE_VALUES(matrix_get_submatrix(m, 0, 2, 1, 1), 2, 1, 2, 4));
    matrix *copy = matrix_copy(m);
    CHECK(matrix_set_rows(copy, m, swapped) == 0);
    CHECK(matrix_set_columns(m, copy, swapped) == 0);
    CHECK(ARE_VALUES(copy, 2, 2, 3, 4, 1, 2));
    matrix *ones = matrix_create_ones(1, 1);
    matrix_set_submatrix(m, ones, 0, 1, 0, 1, 0, 0);
    CHECK(ARE_VALUES(m, 2, 2, 1, 3, 2, 1));
    matrix_destroy(&ones);
}

static void views(void)
{
    matrix *m = square();
    matrix *view = transposed_matrix_create(m);
    CHECK(matrix_get_type(view) == MATRIX_TYPE_TRANSPOSED);
    CHECK(matrix_get(view, 0, 1) == 3.0);
    matrix_set(view, 0, 1, 9);
    CHECK(matrix_get(m, 1, 0) == 9.0);
    transposed_matrix_detach_original_matrix(view);
    CHECK(matrix_enable_direct_access(view)[0][1] == 9.0);
    CHECK(matrix_get_type(view) == MATRIX_TYPE_REGULAR);
    matrix_destroy(&view);
    CHECK(ARE_VALUES(m, 2, 2, 1, 2, 9, 4));
}

static void vectors(void)
{
    matrix *vector = vector_of(1000, 45.5, 1200);
    matrix *copy = matrix_copy(vector);
    const timestamp later = time_of(1001);
    const uint32_t second[] = {1};
    char name[16];
    CHECK(matrix_get_type(vector) == MATRIX_TYPE_TELEMETRY);
    CHECK(telemetry_matrix_get_number_sensors(vector) == 2);
    CHECK(telemetry_matrix_get_number_timestamps(vector) == 1);
    CHECK(telemetry_matrix_is_equal(vector, copy));
    CHECK(telemetry_matrix_update_vector_timestamp(vector, &later) == 0);
    CHECK(!telemetry_matrix_is_equal(vector, copy));
    CHECK(timestamp_array_get(telemetry_matrix_get_timestamps(copy), 0)
              ->tv.tv_sec == 1000);
    matrix *fan = matrix_get_columns(vector, second, 1);
    sensor_get_name(sensor_array_get(telemetry_matrix_get_sensors(fan), 0),
                    name, sizeof name);
    CHECK(strcmp(name, "FAN0 SPEED") == 0 && matrix_get(fan, 0, 0) == 1200);
    matrix *ones = matrix_create_ones(1, 2);
    matrix *clone = telemetry_matrix_clone_with_values(copy, ones);
    telemetry_matrix_detach_original_matrix(clone);
    CHECK(matrix_get(clone, 0, 1) == 1.0);
    matrix_destroy(&clone);
    CHECK(matrix_is_equal_scalar(ones, 1));
    matrix_destroy(&ones);
    matrix_destroy(&fan);
    matrix_destroy(&copy);
    matrix_destroy(&vector);
}

static void stored_form(void)
{
    FILE *fp = scratch_stream();
    writer *out = raw_writer_create(fp, 1);
    matrix *m = square();
    matrix *vector = vector_of(1000, 45.5, 1200);
    CHECK(binary_serializer_write_matrix(m, out) == 14 + 8 * 4);
    CHECK(binary_serializer_write_optional_matrix(NULL, out) == 1);
    const int nwritten = binary_serializer_write_optional_matrix(vector, out);
    CHECK(nwritten > 1);
    writer_destroy(&out);

    rewind(fp);
    reader *in = raw_reader_create(fp, 0);
    matrix *read = matrix_create_null();
    CHECK(binary_serializer_read_matrix(read, in) == 46);
    CHECK(matrix_is_equal(read, m));
    matrix_destroy(&read);
    CHECK(binary_serializer_read_optional_matrix(&read, in) == 1);
    CHECK(read == NULL);
    CHECK(binary_serializer_read_optional_matrix(&read, in) == nwritten);
    CHECK(telemetry_matrix_is_equal(read, vector));
    matrix_destroy(&read);
    read = matrix_create_null();
    CHECK(binary_serializer_read_matrix(read, in) == 0);
    matrix_destroy(&read);
    reader_destroy(&in);
    matrix_destroy(&vector);
    matrix_destroy(&m);
}

/* What is printed goes to a file meanwhile. */
static void printing(void)
{
    matrix *m = square();
    matrix *vector = vector_of(1167609600, 45.5, 1200);
    fflush(stdout);
    const int console = dup(STDOUT_FILENO);
    CHECK(freopen("printed", "w", stdout) != NULL);
    _vela_debug_matrix_print(m, "m", "matrices.c", 1);
    _vela_debug_telemetry_matrix_print(vector, "vector", "matrices.c", 2);
    fflush(stdout);
    dup2(console, STDOUT_FILENO);
    close(console);

    char text[1024] = "";
    FILE *fp = fopen("printed", "r");
    const size_t nread = fread(text, 1, sizeof text - 1, fp);
    fclose(fp);
    CHECK(nread > 0);
    CHECK(strstr(text, "matrices.c:1: matrix m =") != NULL);
    CHECK(strstr(text, "4.000000") != NULL);
    CHECK(strstr(text, "20070101:00:00:00,45.500,1200.000") != NULL);
    matrix_destroy(&vector);
    matrix_destroy(&m);
}

void check_matrices(void)
{
    core();
    arithmetic();
    statistics();
    comparison();
    decomposition();
    slices();
    views();
    vectors();
    stored_form();
    printing();
}
