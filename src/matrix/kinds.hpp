// kinds.hpp: what the sources of the matrix layer share about the three kinds.
#ifndef KOR_MATRIX_KINDS_HPP
#define KOR_MATRIX_KINDS_HPP

#include "matrix.h"
#include "sensor_array.h"
#include "timestamp_array.h"

namespace vela {

// Gives `to` the ten operations of `from`.
void copy_operations(const struct matrix &from, struct matrix *to) noexcept;

// matrix_create_like, but null also when only the inner object is missing.
struct matrix *create_whole_like(const struct matrix *m) noexcept;

// The matrix behind a transposed view, or null when `m` is none.
const struct matrix *viewed_matrix(const struct matrix *m) noexcept;

// Makes `m` a telemetry matrix that takes over the three parts.  On failure
// the parts and the storage of `m` stay the caller's: the one rule for every
// function that builds a telemetry matrix.
int init_telemetry(struct matrix *m, struct matrix *values,
                   struct sensor_array *sensors,
                   struct timestamp_array *timestamps) noexcept;

}  // namespace vela

#endif
