// What error, debug and the comparisons promise.
#include <sys/stat.h>

#include <cmath>

#include "contract/contract.hpp"

// --- error ---

ABORTS(vela_set_last_error, "err <= 0")
{
    vela_set_last_error(1);
}

// --- debug ---

ABORTS(vela_heapify, "p != NULL")
{
    vela_heapify(NULL, 1);
}

ABORTS(vela_heapify, "copy != NULL")
{
    const test::failing_allocation failing(0);
    vela_heapify("a", 1);
}

static void put_a_folder_in_place_of_the_log()
{
    mkdir("srand.log", 0700);
}

ABORTS(_vela_srand, "fp != NULL")
{
    put_a_folder_in_place_of_the_log();
    _vela_srand(1, "here.c", 2);
}

ABORTS(_vela_srand, "fp != NULL")
{
    put_a_folder_in_place_of_the_log();
    _vela_srand_clock("here.c", 2);
}

// --- float_util ---

ABORTS(float_compare, "fabs(c) <= EPSILON")
{
    float_compare(INFINITY, INFINITY);
}

ABORTS(float_compare, "fabs(c) <= EPSILON")
{
    float_is_equal(-INFINITY, -INFINITY);
}
