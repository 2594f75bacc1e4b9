// matrix_fixtures.hpp: matrices for provocations, whole and broken ones.
#ifndef KOR_TESTS_CONTRACT_MATRIX_FIXTURES_HPP
#define KOR_TESTS_CONTRACT_MATRIX_FIXTURES_HPP

#include "contract/model_fixtures.hpp"

namespace contract {

inline const uint32_t first[] = {0};
inline const uint32_t both[] = {0, 1};
inline const uint32_t beyond[] = {2, 2};

inline struct matrix *plain(uint32_t nrows = 2, uint32_t ncols = 2)
{
    return matrix_create_ones(nrows, ncols);
}
inline struct matrix *transposed()
{
    return transposed_matrix_create(plain());
}
inline struct matrix *telemetry()
{
    return telemetry_matrix_create(plain(), two_sensors(), two_stamps());
}
inline struct matrix *vector()
{
    return telemetry_matrix_create_vector(plain(1, 2), two_sensors(), stamp());
}

inline constexpr uint32_t unknown_type = 7;

// A matrix that has nothing behind its head.
inline struct matrix *head(uint8_t version, uint32_t type, uint32_t nrows = 2,
                           uint32_t ncols = 2)
{
    struct matrix *const m = matrix_create_null();
    m->version = version;
    m->type = type;
    m->nrows = nrows;
    m->ncols = ncols;
    return m;
}
inline struct matrix *dead()
{
    return head(0, MATRIX_TYPE_REGULAR);
}
inline struct matrix *typeless()
{
    return head(MATRIX_VERSION, 0);
}
inline struct matrix *rowless()
{
    return head(MATRIX_VERSION, MATRIX_TYPE_REGULAR, 0, 2);
}
inline struct matrix *columnless()
{
    return head(MATRIX_VERSION, MATRIX_TYPE_REGULAR, 2, 0);
}
inline struct matrix *valueless()
{
    return head(MATRIX_VERSION, MATRIX_TYPE_REGULAR);
}
inline struct matrix *bodiless(uint32_t type)
{
    return head(MATRIX_VERSION, type);
}

// A body of a version that has nothing behind it.
template <class Body>
void *empty_body(uint8_t version)
{
    static Body body;
    body = {};
    body.version = version;
    return &body;
}

inline struct matrix *changed(struct matrix *m, void (*change)(struct matrix *))
{
    change(m);
    return m;
}

}  // namespace contract

#endif
