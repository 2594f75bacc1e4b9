/*
 * matrix.c: how two sensors of a text telemetry file hang together.
 *
 *     matrix FILE SENSOR SENSOR
 *
 * Prints the correlation of the two and the straight line through their
 * samples: second = a + b * first.
 */
#include <stdio.h>
#include <string.h>

#include "libkor.h"

enum { X, Y, NCOLUMNS };
enum { FIRST_CAPACITY = 64, NAME_SIZE = 256 };

/* The column of a sensor, or -1. */
static int find_column(vorn_reader *text, const char *wanted)
{
    const sensor_array *columns = vorn_reader_get_sensors(text);
    const int nsensors = (int)sensor_array_get_size(columns);
    for (int i = 0; i < nsensors; ++i) {
        char name[NAME_SIZE + 1] = "";
        sensor_get_name(sensor_array_get(columns, i), name, NAME_SIZE);
        if (strcmp(name, wanted) == 0) return i;
    }
    return -1;
}

/* Appends the two readings as row `n`; the capacity doubles when it is used
 * up. */
static int append(matrix *samples, uint32_t n, const matrix *vector,
                  const int *columns)
{
    if (n == matrix_get_number_rows(samples)) {
        const int result = matrix_resize(samples, 2 * n, NCOLUMNS);
        if (result < 0) return result;
    }
    for (uint32_t j = 0; j < NCOLUMNS; ++j)
        matrix_set(samples, n, j, matrix_get(vector, 0, (uint32_t)columns[j]));
    return KOR_OK;
}

/* Fills `samples` with one row for each line; a header that follows may bring
 * the sensors in another order.  Returns their number or a code. */
static int collect(vorn_reader *text, char **names, matrix *samples)
{
    uint32_t n = 0;
    vela_set_last_error(KOR_OK);
    matrix *vector = vorn_reader_get_next_telemetry_vector(text);
    while (vector != NULL) {
        const int columns[] = {find_column(text, names[X]),
                               find_column(text, names[Y])};
        if (columns[X] < 0 || columns[Y] < 0) return KOR_ERR_INVALID_DATA;
        const int result = append(samples, n, vector, columns);
        if (result < 0) return result;
        ++n;
        vector = vorn_reader_get_next_telemetry_vector(text);
    }
    if (vela_get_last_error() < 0) return vela_get_last_error();
    if (n == 0) return KOR_ERR_INCOMPLETE;
    const int result = matrix_resize(samples, n, NCOLUMNS);
    return result < 0 ? result : (int)n;
}

/* The product of the transpose of a and b, or null with the last error. */
static matrix *multiply_transposed(matrix *a, const matrix *b)
{
    matrix *view = transposed_matrix_create(a);
    if (view == NULL) return NULL;
    matrix *product = matrix_multiply(view, b);
    /* The view must not take `a` with it. */
    transposed_matrix_detach_original_matrix(view);
    matrix_destroy(&view);
    return product;
}

/* The correlation of the two columns: the mean product of what is left of
 * them when each is scaled to mean 0 and deviation 1. */
static int print_correlation(const matrix *samples)
{
    matrix *mean = matrix_column_mean(samples);
    matrix *deviation = matrix_column_std_dev(samples);
    matrix *scaled = NULL;
    matrix *products = NULL;
    if (mean != NULL && deviation != NULL)
        scaled = matrix_gaussian_normalize(samples, mean, deviation);
    if (scaled != NULL) products = multiply_transposed(scaled, scaled);
    const int result = products != NULL ? KOR_OK : vela_get_last_error();
    if (products != NULL)
        printf("correlation  %.6f\n",
               matrix_get(products, X, Y) / matrix_get_number_rows(samples));
    if (products != NULL) matrix_destroy(&products);
    if (scaled != NULL) matrix_destroy(&scaled);
    if (deviation != NULL) matrix_destroy(&deviation);
    if (mean != NULL) matrix_destroy(&mean);
    return result;
}

/* Prints the line whose coefficients solve  AtA c = Aty,  A being a column of
 * ones beside the first sensor. */
static int print_solution(matrix *a, const matrix *y)
{
    matrix *normal = multiply_transposed(a, a);
    matrix *right = multiply_transposed(a, y);
    matrix *line = NULL;
    int result = KOR_OK;
    vela_set_last_error(KOR_OK);
    if (normal != NULL && right != NULL)
        line = matrix_lu_solve_for(normal, right);
    else
        result = KOR_ERR_NO_MEMORY;
    if (line != NULL) {
        printf("line         %.6f + %.6f * x\n", matrix_get(line, 0, 0),
               matrix_get(line, 1, 0));
        printf("condition    %g\n", matrix_condition_number_inf(normal));
        matrix_destroy(&line);
    } else if (result == KOR_OK) {
        /* Null without an error: the system is singular. */
        result = vela_get_last_error();
        if (result == KOR_OK) printf("line         none: x is constant\n");
    }
    if (right != NULL) matrix_destroy(&right);
    if (normal != NULL) matrix_destroy(&normal);
    return result;
}

static int print_line(const matrix *samples)
{
    const uint32_t n = matrix_get_number_rows(samples);
    const uint32_t second[] = {Y};
    matrix *a = matrix_create_ones(n, NCOLUMNS);
    matrix *y = matrix_get_columns(samples, second, 1);
    int result = KOR_ERR_NO_MEMORY;
    if (a != NULL && y != NULL) {
        matrix_set_submatrix(a, samples, 0, n, 1, 1, 0, X);
        result = print_solution(a, y);
    }
    if (y != NULL) matrix_destroy(&y);
    if (a != NULL) matrix_destroy(&a);
    return result;
}

static int correlate(vorn_reader *text, char **names)
{
    matrix *samples = matrix_create(FIRST_CAPACITY, NCOLUMNS);
    if (samples == NULL) return vela_get_last_error();
    int result = collect(text, names, samples);
    if (result > 0) {
        printf("samples      %d\n", result);
        result = print_correlation(samples);
    }
    if (result == KOR_OK) result = print_line(samples);
    matrix_destroy(&samples);
    return result;
}

int main(int argc, char **argv)
{
    if (argc != 4) {
        fprintf(stderr, "usage: matrix FILE SENSOR SENSOR\n");
        return 2;
    }
    vorn_reader *text = vorn_reader_open(argv[1]);
    int result = vela_get_last_error();
    if (text != NULL) {
        result = correlate(text, argv + 2);
        vorn_reader_close(&text);
    }
    if (result == KOR_OK) return 0;
    fprintf(stderr, "matrix: %s: %s\n", argv[1], vela_strerror(result));
    return 1;
}
