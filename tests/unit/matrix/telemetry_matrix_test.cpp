#include "telemetry_matrix.h"

#include <cstddef>
#include <cstdlib>

#include "matrix_slices.h"
#include "matrix_support.hpp"
#include "sensors.h"

using test::kind;
using test::make;
using test::matrix_ptr;
using test::table;
using names = std::vector<std::string>;
using times = std::vector<int32_t>;

constexpr bool wide = sizeof(void *) == 8;
static_assert(sizeof(telemetry_matrix_body) == (wide ? 40 : 20));
static_assert(offsetof(telemetry_matrix_body, matrix) == (wide ? 8 : 4));
static_assert(offsetof(telemetry_matrix_body, sensors) == (wide ? 16 : 8));
static_assert(offsetof(telemetry_matrix_body, timestamps) == (wide ? 24 : 12));
static_assert(offsetof(telemetry_matrix_body, owns_matrix) == (wide ? 32 : 16));

namespace {

const table values = {{1, 2, 3}, {4, 5, 6}};

telemetry_matrix_body *body_of(const struct matrix *m)
{
    return static_cast<telemetry_matrix_body *>(m->matrix);
}

struct timestamp at(int32_t second)
{
    struct timestamp t;
    const struct timeval tv = {second, 0};
    timestamp_init_from_timeval(&t, &tv);
    return t;
}

// The three parts of a 2 x 3 telemetry matrix, which a test may give away.
struct parts {
    struct matrix *matrix = make(values).release();
    struct sensor_array *sensors = test::make_sensors(3);
    struct timestamp_array *timestamps = test::make_timestamps(2);

    void destroy()
    {
        matrix_destroy(&matrix);
        sensor_array_destroy(&sensors);
        timestamp_array_destroy(&timestamps);
    }
};

matrix_ptr vector_at(int32_t second)
{
    const struct timestamp t = at(second);
    return matrix_ptr(telemetry_matrix_create_vector(
        make({{1, 2, 3}}).release(), test::make_sensors(3), &t));
}

}  // namespace

// --- construction ---

TEST(TelemetryMatrix, LabelsColumnsAndRows)
{
    parts p;
    const matrix_ptr m(
        telemetry_matrix_create(p.matrix, p.sensors, p.timestamps));
    EXPECT_EQ(matrix_get_type(m.get()), 3u);
    EXPECT_EQ(body_of(m.get())->version, 1);
    EXPECT_EQ(body_of(m.get())->owns_matrix, 1u);
    EXPECT_EQ(telemetry_matrix_get_number_sensors(m.get()), 3u);
    EXPECT_EQ(telemetry_matrix_get_number_timestamps(m.get()), 2u);
    EXPECT_EQ(telemetry_matrix_get_sensors(m.get()), p.sensors);
    EXPECT_EQ(telemetry_matrix_get_timestamps(m.get()), p.timestamps);
    EXPECT_EQ(test::sensor_names(m.get()), (names{"S0", "S1", "S2"}));
    EXPECT_EQ(test::seconds(m.get()), (times{1000, 1001}));
    EXPECT_TRUE(test::same_bits(values, test::elements(m.get())));
}

TEST(TelemetryMatrix, SharesTheRowsOfItsValues)
{
    const matrix_ptr m = make(values, kind::telemetry);
    EXPECT_EQ(m->values, body_of(m.get())->matrix->values);
    matrix_set(m.get(), 1, 1, 50.0);
    EXPECT_EQ(matrix_get(body_of(m.get())->matrix, 1, 1), 50.0);
}

TEST(TelemetryMatrix, WithoutRowPointersAsksItsValues)
{
    const matrix_ptr m = make(values, kind::telemetry);
    m->values = nullptr;
    EXPECT_EQ(matrix_get(m.get(), 1, 2), 6.0);
    matrix_set(m.get(), 0, 0, -1.0);
    EXPECT_EQ(matrix_get(m.get(), 0, 0), -1.0);
    EXPECT_EQ(matrix_norm_inf(m.get()), 15.0);
}

TEST(TelemetryMatrix, AViewAsValuesBecomesRegular)
{
    const matrix_ptr m(telemetry_matrix_create(
        make(values, kind::transposed).release(), test::make_sensors(3),
        test::make_timestamps(2)));
    EXPECT_EQ(body_of(m.get())->matrix->type, 1u);
    EXPECT_NE(m->values, nullptr);
    EXPECT_TRUE(test::same_bits(values, test::elements(m.get())));
}

TEST(TelemetryMatrix, InitFillsTheCallersStorage)
{
    auto *const m =
        static_cast<struct matrix *>(std::malloc(sizeof(struct matrix)));
    parts p;
    EXPECT_EQ(telemetry_matrix_init(m, p.matrix, p.sensors, p.timestamps), 0);
    EXPECT_TRUE(test::same_bits(values, test::elements(m)));
    matrix_destruct(m);
    EXPECT_EQ(m->version, 0);
    std::free(m);
}

TEST(TelemetryMatrix, VectorReportsOneTimeStampAndItsSensors)
{
    const matrix_ptr m = vector_at(7);
    EXPECT_EQ(telemetry_matrix_get_number_timestamps(m.get()), 1u);
    EXPECT_EQ(telemetry_matrix_get_number_sensors(m.get()), 3u);
    EXPECT_EQ(test::seconds(m.get()), (times{7}));
    EXPECT_TRUE(test::same_bits({{1, 2, 3}}, test::elements(m.get())));
}

TEST(TelemetryMatrix, InitVectorCopiesTheTimeStamp)
{
    auto *const m =
        static_cast<struct matrix *>(std::malloc(sizeof(struct matrix)));
    struct timestamp t = at(7);
    EXPECT_EQ(telemetry_matrix_init_vector(m, make({{1, 2}}).release(),
                                           test::make_sensors(2), &t),
              0);
    t = at(8);
    EXPECT_EQ(test::seconds(m), (times{7}));
    matrix_destruct(m);
    std::free(m);
}

TEST(TelemetryMatrix, DestroyingItReleasesAllItOwns)
{
    const test::allocation_count blocks;
    make(values, kind::telemetry).reset();
    EXPECT_EQ(blocks.live(), 0);
    EXPECT_EQ(_sensors.nsensors, 0u);
}

TEST(TelemetryMatrix, DetachedValuesOutliveIt)
{
    parts p;
    matrix_ptr m(telemetry_matrix_create(p.matrix, p.sensors, p.timestamps));
    telemetry_matrix_detach_original_matrix(m.get());
    m.reset();
    EXPECT_TRUE(test::same_bits(values, test::elements(p.matrix)));
    matrix_destroy(&p.matrix);
}

TEST(TelemetryMatrix, UpdateChangesTheTimeStampAndNothingElse)
{
    const matrix_ptr m = vector_at(7);
    const matrix_ptr copy(matrix_copy(m.get()));
    const struct timestamp t = at(9);
    EXPECT_EQ(telemetry_matrix_update_vector_timestamp(m.get(), &t), 0);
    EXPECT_EQ(test::seconds(m.get()), (times{9}));
    EXPECT_EQ(test::sensor_names(m.get()), (names{"S0", "S1", "S2"}));
    EXPECT_TRUE(test::same_bits({{1, 2, 3}}, test::elements(m.get())));
    EXPECT_EQ(test::seconds(copy.get()), (times{7}));  // a new array, not seen
}

TEST(TelemetryMatrix, CloneTakesNewValuesUnderTheSameLabels)
{
    const matrix_ptr m = make(values, kind::telemetry);
    struct matrix *const doubled = make({{2, 4, 6}, {8, 10, 12}}).release();
    const matrix_ptr clone(
        telemetry_matrix_clone_with_values(m.get(), doubled));
    EXPECT_EQ(body_of(clone.get())->matrix, doubled);
    EXPECT_EQ(body_of(clone.get())->owns_matrix, 1u);
    EXPECT_EQ(test::sensor_names(clone.get()), (names{"S0", "S1", "S2"}));
    EXPECT_EQ(test::seconds(clone.get()), (times{1000, 1001}));
    EXPECT_EQ(matrix_get(clone.get(), 1, 2), 12.0);
}

// --- comparison ---

TEST(TelemetryMatrix, EqualNeedsValuesSensorsAndTimeStamps)
{
    const auto with = [](const table &v, int sensor, int32_t second) {
        return matrix_ptr(telemetry_matrix_create(
            make(v).release(),
            test::make_sensors(static_cast<uint32_t>(v[0].size()), sensor),
            test::make_timestamps(static_cast<uint32_t>(v.size()), second)));
    };
    const matrix_ptr m = with({{1, 2}}, 0, 50);
    EXPECT_EQ(telemetry_matrix_is_equal(m.get(), m.get()), 1);
    const auto equals = [&](const table &v, int sensor, int32_t second) {
        return telemetry_matrix_is_equal(m.get(),
                                         with(v, sensor, second).get());
    };
    EXPECT_EQ(equals({{1, 2}}, 0, 50), 1);
    EXPECT_EQ(equals({{1, 2.0000001}}, 0, 50), 1);
    EXPECT_EQ(equals({{1, 3}}, 0, 50), 0);
    EXPECT_EQ(equals({{1, 2, 3}}, 0, 50), 0);
    EXPECT_EQ(equals({{1, 2}}, 1, 50), 0);
    EXPECT_EQ(equals({{1, 2}}, 0, 51), 0);
}

// --- slices ---

TEST(TelemetryMatrix, ColumnSliceCarriesItsSensorsAndAllTimeStamps)
{
    const matrix_ptr m = make(values, kind::telemetry);
    const uint32_t indices[] = {2, 0};
    const matrix_ptr slice(matrix_get_columns(m.get(), indices, 2));
    EXPECT_EQ(matrix_get_type(slice.get()), 3u);
    EXPECT_EQ(test::sensor_names(slice.get()), (names{"S2", "S0"}));
    EXPECT_EQ(test::seconds(slice.get()), (times{1000, 1001}));
    EXPECT_TRUE(test::same_bits({{3, 1}, {6, 4}}, test::elements(slice.get())));
    EXPECT_NE(slice->values, nullptr);
}

TEST(TelemetryMatrix, RowSliceCarriesItsTimeStampsAndAllSensors)
{
    const matrix_ptr m = make(values, kind::telemetry);
    const uint32_t indices[] = {1, 1, 0};
    const matrix_ptr slice(matrix_get_rows(m.get(), indices, 3));
    EXPECT_EQ(test::sensor_names(slice.get()), (names{"S0", "S1", "S2"}));
    EXPECT_EQ(test::seconds(slice.get()), (times{1001, 1001, 1000}));
    EXPECT_TRUE(test::same_bits({{4, 5, 6}, {4, 5, 6}, {1, 2, 3}},
                                test::elements(slice.get())));
}

TEST(TelemetryMatrix, ASlicesTimeStampsAreItsOwn)
{
    const matrix_ptr m = make(values, kind::telemetry);
    const uint32_t first[] = {0};
    const matrix_ptr slice(matrix_get_rows(m.get(), first, 1));
    const matrix_ptr row = vector_at(77);
    EXPECT_EQ(matrix_set_rows(slice.get(), row.get(), first), 0);
    EXPECT_EQ(test::seconds(slice.get()), (times{77}));
    EXPECT_EQ(test::seconds(m.get()), (times{1000, 1001}));
}

// --- size ---

TEST(TelemetryMatrix, ResizeKeepsTheLabelsThatFit)
{
    const matrix_ptr m = make(values, kind::telemetry);
    EXPECT_EQ(matrix_resize(m.get(), 1, 2), 0);
    EXPECT_EQ(test::sensor_names(m.get()), (names{"S0", "S1"}));
    EXPECT_EQ(test::seconds(m.get()), (times{1000}));
    EXPECT_EQ(telemetry_matrix_get_number_sensors(m.get()), 2u);
    EXPECT_EQ(m->values, body_of(m.get())->matrix->values);
}

TEST(TelemetryMatrix, ResizeLeavesNewLabelsEmpty)
{
    const matrix_ptr m = make(values, kind::telemetry);
    EXPECT_EQ(matrix_resize(m.get(), 3, 4), 0);
    EXPECT_EQ(test::sensor_names(m.get()), (names{"S0", "S1", "S2", "(none)"}));
    EXPECT_EQ(test::seconds(m.get()), (times{1000, 1001, 0}));
    EXPECT_EQ(timestamp_array_get(telemetry_matrix_get_timestamps(m.get()), 2),
              nullptr);
    EXPECT_TRUE(test::same_bits({{1, 2, 3, 0}, {4, 5, 6, 0}, {0, 0, 0, 0}},
                                test::elements(m.get())));
}

TEST(TelemetryMatrix, ResizeOfOneAxisKeepsTheOtherLabels)
{
    const matrix_ptr m = make(values, kind::telemetry);
    struct sensor_array *const sensors = telemetry_matrix_get_sensors(m.get());
    EXPECT_EQ(matrix_resize(m.get(), 1, 3), 0);
    EXPECT_EQ(telemetry_matrix_get_sensors(m.get()), sensors);
}

TEST(TelemetryMatrix, ResizeLeavesTheLabelsOfCopiesAlone)
{
    const matrix_ptr m = make(values, kind::telemetry);
    const matrix_ptr copy(matrix_copy(m.get()));
    EXPECT_EQ(matrix_resize(m.get(), 1, 1), 0);
    EXPECT_EQ(test::sensor_names(copy.get()), (names{"S0", "S1", "S2"}));
    EXPECT_EQ(test::seconds(copy.get()), (times{1000, 1001}));
}

// --- rows and columns ---

TEST(TelemetryMatrix, SetRowsFromRegularValuesChangesValuesOnly)
{
    const matrix_ptr m = make(values, kind::telemetry);
    const matrix_ptr row = make({{7, 8, 9}});
    const uint32_t second[] = {1};
    EXPECT_EQ(matrix_set_rows(m.get(), row.get(), second), 0);
    EXPECT_TRUE(
        test::same_bits({{1, 2, 3}, {7, 8, 9}}, test::elements(m.get())));
    EXPECT_EQ(test::seconds(m.get()), (times{1000, 1001}));
    EXPECT_EQ(test::sensor_names(m.get()), (names{"S0", "S1", "S2"}));
}

TEST(TelemetryMatrix, SetRowsFromTelemetryTakesTimeStampsAndAllSensors)
{
    const matrix_ptr m = make(values, kind::telemetry);
    const matrix_ptr rows(telemetry_matrix_create(
        make({{7, 8, 9}, {10, 11, 12}}).release(), test::make_sensors(3, 5),
        test::make_timestamps(2, 500)));
    const uint32_t swapped[] = {1, 0};
    EXPECT_EQ(matrix_set_rows(m.get(), rows.get(), swapped), 0);
    EXPECT_TRUE(
        test::same_bits({{10, 11, 12}, {7, 8, 9}}, test::elements(m.get())));
    EXPECT_EQ(test::seconds(m.get()), (times{501, 500}));
    EXPECT_EQ(test::sensor_names(m.get()), (names{"S5", "S6", "S7"}));
    EXPECT_EQ(test::sensor_names(rows.get()), (names{"S5", "S6", "S7"}));
}

TEST(TelemetryMatrix, SetRowsRestampsCopiesToo)
{
    const matrix_ptr m = make(values, kind::telemetry);
    const matrix_ptr copy(matrix_copy(m.get()));
    const uint32_t first[] = {0};
    EXPECT_EQ(matrix_set_rows(copy.get(), vector_at(77).get(), first), 0);
    EXPECT_EQ(test::seconds(m.get()), (times{77, 1001}));
    EXPECT_TRUE(test::same_bits(values, test::elements(m.get())));
}

TEST(TelemetryMatrix, SetColumnsFromRegularValuesChangesValuesOnly)
{
    const matrix_ptr m = make(values, kind::telemetry);
    const uint32_t last[] = {2};
    EXPECT_EQ(matrix_set_columns(m.get(), make({{30}, {60}}).get(), last), 0);
    EXPECT_TRUE(
        test::same_bits({{1, 2, 30}, {4, 5, 60}}, test::elements(m.get())));
    EXPECT_EQ(test::sensor_names(m.get()), (names{"S0", "S1", "S2"}));
    EXPECT_EQ(test::seconds(m.get()), (times{1000, 1001}));
}

TEST(TelemetryMatrix, SetColumnsFromTelemetryTakesSensorsAndAllTimeStamps)
{
    const matrix_ptr m = make(values, kind::telemetry);
    const matrix_ptr column(telemetry_matrix_create(
        make({{30}, {60}}).release(), test::make_sensors(1, 9),
        test::make_timestamps(2, 500)));
    const uint32_t middle[] = {1};
    EXPECT_EQ(matrix_set_columns(m.get(), column.get(), middle), 0);
    EXPECT_TRUE(
        test::same_bits({{1, 30, 3}, {4, 60, 6}}, test::elements(m.get())));
    EXPECT_EQ(test::sensor_names(m.get()), (names{"S0", "S9", "S2"}));
    EXPECT_EQ(test::seconds(m.get()), (times{500, 501}));
}

TEST(TelemetryMatrix, MayTakeRowsAndColumnsFromItself)
{
    const test::allocation_count blocks;
    matrix_ptr m = make(values, kind::telemetry);
    const uint32_t rows[] = {1, 0};
    EXPECT_EQ(matrix_set_rows(m.get(), m.get(), rows), 0);
    EXPECT_TRUE(
        test::same_bits({{1, 2, 3}, {1, 2, 3}}, test::elements(m.get())));
    EXPECT_EQ(test::seconds(m.get()), (times{1000, 1000}));
    const uint32_t columns[] = {0, 2, 1};
    EXPECT_EQ(matrix_set_columns(m.get(), m.get(), columns), 0);
    EXPECT_EQ(test::sensor_names(m.get()), (names{"S0", "S1", "S1"}));
    m.reset();
    EXPECT_EQ(blocks.live(), 0);
    EXPECT_EQ(_sensors.nsensors, 0u);
}

// --- out of memory ---

TEST(TelemetryMatrix, CreatingFailsCleanlyAndTakesNothingOver)
{
    parts p;
    test::expect_every_allocation_failure_is_clean([&] {
        matrix_ptr m(
            telemetry_matrix_create(p.matrix, p.sensors, p.timestamps));
        if (!m) return vela_get_last_error();
        telemetry_matrix_detach_original_matrix(m.get());
        auto *const tmatrix = body_of(m.get());
        tmatrix->sensors = nullptr;
        tmatrix->timestamps = nullptr;
        return 0;
    });
    EXPECT_TRUE(test::same_bits(values, test::elements(p.matrix)));
    p.destroy();
}

TEST(TelemetryMatrix, CreatingOverAViewFailsCleanly)
{
    const matrix_ptr original = make(values);
    struct sensor_array *sensors = test::make_sensors(2);
    struct timestamp_array *timestamps = test::make_timestamps(3);
    test::expect_every_allocation_failure_is_clean([&] {
        const matrix_ptr view(transposed_matrix_create(original.get()));
        if (!view) return vela_get_last_error();
        transposed_matrix_detach_original_matrix(view.get());
        const matrix_ptr m(
            telemetry_matrix_create(view.get(), sensors, timestamps));
        if (!m) return vela_get_last_error();
        telemetry_matrix_detach_original_matrix(m.get());
        body_of(m.get())->sensors = nullptr;
        body_of(m.get())->timestamps = nullptr;
        return 0;
    });
    sensor_array_destroy(&sensors);
    timestamp_array_destroy(&timestamps);
}

// A failed init has released the object it was given, but none of the parts.
TEST(TelemetryMatrix, AFailedInitReleasesTheObjectOnly)
{
    parts p;
    test::expect_every_allocation_failure_is_clean([&] {
        auto *const m =
            static_cast<struct matrix *>(std::malloc(sizeof(struct matrix)));
        if (m == nullptr) return -22;
        const int result =
            telemetry_matrix_init(m, p.matrix, p.sensors, p.timestamps);
        if (result < 0) return result;
        std::free(m->matrix);
        std::free(m);
        return result;
    });
    p.destroy();
}

TEST(TelemetryMatrix, AFailedVectorIsCleanWhicheverPartFails)
{
    struct matrix *values_row = make({{1, 2}}).release();
    struct sensor_array *sensors = test::make_sensors(2);
    const struct timestamp t = at(3);
    test::expect_every_allocation_failure_is_clean([&] {
        matrix_ptr m(telemetry_matrix_create_vector(values_row, sensors, &t));
        if (!m) return vela_get_last_error();
        telemetry_matrix_detach_original_matrix(m.get());
        body_of(m.get())->sensors = nullptr;
        return 0;
    });
    matrix_destroy(&values_row);
    sensor_array_destroy(&sensors);
}

// The object goes with a failed init, but stays while its time stamps cannot
// be made.
TEST(TelemetryMatrix, AFailedInitVectorReleasesTheObjectLast)
{
    struct matrix *row = make({{1, 2}}).release();
    struct sensor_array *sensors = test::make_sensors(2);
    const struct timestamp t = at(3);
    constexpr int for_timestamps = 4;  // array, elements, counter, time stamp
    for (int n = 0;; ++n) {
        auto *m =
            static_cast<struct matrix *>(std::malloc(sizeof(struct matrix)));
        const test::failing_allocation failing(n);
        const int result = telemetry_matrix_init_vector(m, row, sensors, &t);
        if (!failing.reached()) {
            EXPECT_EQ(result, 0);
            matrix_destroy(&m);
            break;
        }
        EXPECT_EQ(result, -22);
        if (n < for_timestamps) std::free(m);
    }
}

TEST(TelemetryMatrix, ChangingFailsCleanly)
{
    const matrix_ptr m = vector_at(7);
    const struct timestamp t = at(9);
    for (int n = 0;; ++n) {
        const test::failing_allocation failing(n);
        const int result =
            telemetry_matrix_update_vector_timestamp(m.get(), &t);
        if (!failing.reached()) break;
        EXPECT_EQ(result, -22);
        EXPECT_EQ(test::seconds(m.get()), (times{7}));
    }
    EXPECT_EQ(test::seconds(m.get()), (times{9}));
}

TEST(TelemetryMatrix, CloningFailsCleanlyAndLeavesTheValues)
{
    const matrix_ptr m = make(values, kind::telemetry);
    struct matrix *vals = make(values).release();
    test::expect_every_allocation_failure_is_clean([&] {
        matrix_ptr clone(telemetry_matrix_clone_with_values(m.get(), vals));
        if (!clone) return vela_get_last_error();
        telemetry_matrix_detach_original_matrix(clone.get());
        return 0;
    });
    matrix_destroy(&vals);
}

TEST(TelemetryMatrix, SlicingFailsCleanly)
{
    const matrix_ptr m = make(values, kind::telemetry);
    const uint32_t indices[] = {1, 0};
    for (const auto slice : {matrix_get_columns, matrix_get_rows})
        test::expect_every_allocation_failure_is_clean([&] {
            const matrix_ptr made(slice(m.get(), indices, 2));
            return made ? 0 : vela_get_last_error();
        });
}

TEST(TelemetryMatrix, SettingRowsFailsWithTheLastError)
{
    const matrix_ptr m = make(values, kind::telemetry);
    const matrix_ptr row = vector_at(77);
    const uint32_t first[] = {0};
    for (int n = 0;; ++n) {
        const test::failing_allocation failing(n);
        const int result = matrix_set_rows(m.get(), row.get(), first);
        if (!failing.reached()) break;
        EXPECT_EQ(result, -22);
        EXPECT_EQ(test::sensor_names(m.get()).size(), 3u);
        EXPECT_EQ(test::seconds(m.get()).size(), 2u);
    }
}

TEST(TelemetryMatrix, SettingColumnsReportsNoFailedCopyOfTheTimeStamps)
{
    const matrix_ptr m = make(values, kind::telemetry);
    const matrix_ptr column(telemetry_matrix_create(
        make({{30}, {60}}).release(), test::make_sensors(1, 9),
        test::make_timestamps(2, 500)));
    const uint32_t middle[] = {1};
    {
        const test::failing_allocation failing(0);
        EXPECT_EQ(matrix_set_columns(m.get(), column.get(), middle), 0);
        EXPECT_TRUE(failing.reached());
    }
    EXPECT_EQ(body_of(m.get())->timestamps, nullptr);
    EXPECT_EQ(matrix_set_columns(m.get(), column.get(), middle), 0);
    EXPECT_EQ(test::seconds(m.get()), (times{500, 501}));
}

// --- aborts ---

namespace {

struct matrix *fresh(const table &v = values)
{
    return make(v, kind::telemetry).release();
}
// A telemetry matrix with a change to its body.
struct matrix *broken(void (*change)(telemetry_matrix_body *),
                      const table &v = values)
{
    struct matrix *const m = fresh(v);
    change(body_of(m));
    return m;
}
struct matrix *bodiless(const table &v = values)
{
    struct matrix *const m = fresh(v);
    m->matrix = NULL;
    return m;
}
const uint32_t indices[] = {0, 1, 2};

struct slot {
    const char *function;
    std::function<void(const struct matrix *, void *)> call;
    bool checks_matrix = true;
};

const std::vector<slot> &slots()
{
    static const std::vector<slot> all = {
        {"_telemetry_matrix_destroy",
         [](auto *m, void *p) { m->fn_destroy(&p); }, false},
        {"_telemetry_matrix_get",
         [](auto *m, void *p) {
             m->fn_get(p, 0, 0);
         }},
        {"_telemetry_matrix_set",
         [](auto *m, void *p) {
             m->fn_set(p, 0, 0, 1);
         }},
        {"_telemetry_matrix_create_like",
         [](auto *m, void *p) {
             m->fn_create_like(p);
         }},
        {"_telemetry_matrix_get_columns",
         [](auto *m, void *p) {
             m->fn_get_col_slice(p, indices, 1);
         }},
        {"_telemetry_matrix_get_rows",
         [](auto *m, void *p) {
             m->fn_get_row_slice(p, indices, 1);
         }},
        {"_telemetry_matrix_copy",
         [](auto *m, void *p) {
             m->fn_copy(p);
         }},
        {"_telemetry_matrix_resize",
         [](auto *m, void *p) {
             m->fn_resize(p, 1, 1);
         }},
        {"_telemetry_matrix_set_rows",
         [](auto *m, void *p) {
             m->fn_set_rows(p, m, indices);
         }},
        {"_telemetry_matrix_set_columns",
         [](auto *m, void *p) {
             m->fn_set_columns(p, m, indices);
         }},
    };
    return all;
}

}  // namespace

TEST(TelemetryMatrixDeathTest, EveryOperationChecksTheBody)
{
    const matrix_ptr m = make(values, kind::telemetry);
    std::vector<test::abort_in> rows;
    for (const slot &s : slots()) {
        rows.push_back({s.function, "tmatrix != NULL", [&] {
                            s.call(m.get(), nullptr);
                        }});
        rows.push_back(
            {s.function, "tmatrix->version == TELEMETRY_MATRIX_VERSION", [&] {
                 s.call(m.get(),
                        broken([](auto *b) { b->version = 9; })->matrix);
             }});
        if (s.checks_matrix)
            rows.push_back({s.function, "tmatrix->matrix != NULL", [&] {
                                s.call(m.get(), broken([](auto *b) {
                                                    b->matrix = NULL;
                                                })->matrix);
                            }});
    }
    test::expect_aborts(rows);
}

TEST(TelemetryMatrixDeathTest, SlicesCheckIndicesAndLabels)
{
    static const uint32_t beyond[] = {0, 3};
    static const uint32_t *const no_indices = NULL;
    std::vector<test::abort_in> rows;
    const auto add = [&](const char *function, auto slice, auto bound,
                         auto labels) {
        rows.insert(rows.end(),
                    {{function, "indices != NULL",
                      [=] {
                          slice(fresh(), no_indices, 1);
                      }},
                     {function, "nindices > 0",
                      [=] {
                          slice(fresh(), indices, 0);
                      }},
                     {function, "tmatrix->sensors != NULL",
                      [=] {
                          slice(broken([](auto *b) { b->sensors = NULL; }),
                                indices, 1);
                      }},
                     {function, "tmatrix->timestamps != NULL",
                      [=] {
                          slice(broken([](auto *b) { b->timestamps = NULL; }),
                                indices, 1);
                      }},
                     {function, bound,
                      [=] {
                          slice(fresh(), beyond, 2);
                      }},
                     {function, labels, [=] {
                          slice(broken([](auto *b) {
                                    b->sensors->sensors = NULL;
                                    b->timestamps->timestamps = NULL;
                                }),
                                indices, 1);
                      }}});
    };
    add(
        "_telemetry_matrix_get_columns",
        [](auto *m, auto *i, uint32_t n) {
            m->fn_get_col_slice(m->matrix, i, n);
        },
        "indices[i] < matrix_get_number_columns(tmatrix->matrix)",
        "sensors != NULL");
    add(
        "_telemetry_matrix_get_rows",
        [](auto *m, auto *i, uint32_t n) {
            m->fn_get_row_slice(m->matrix, i, n);
        },
        "indices[i] < matrix_get_number_rows(tmatrix->matrix)",
        "timestamps != NULL");
    test::expect_aborts(rows);
}

TEST(TelemetryMatrixDeathTest, ResizeChecksSizesAndLabels)
{
    const auto resize = [](uint32_t nrows, uint32_t ncols) {
        struct matrix *const m = fresh();
        m->fn_resize(m->matrix, nrows, ncols);
    };
    test::expect_aborts({
        {"_telemetry_matrix_resize", "nrows > 0",
         [=] {
             resize(0, 1);
         }},
        {"_telemetry_matrix_resize", "ncols > 0",
         [=] {
             resize(1, 0);
         }},
        {"_telemetry_matrix_resize",
         "matrix_get_number_rows(tmatrix->matrix) != nrows || "
         "matrix_get_number_columns(tmatrix->matrix) != ncols",
         [=] {
             resize(2, 3);
         }},
        {"_telemetry_matrix_resize", "s != NULL",
         [] {
             struct matrix *const m = fresh();
             matrix_resize(m, 2, 4);
             matrix_resize(m, 2, 5);
         }},
        {"_telemetry_matrix_resize", "t != NULL",
         [] {
             struct matrix *const m = fresh();
             matrix_resize(m, 3, 3);
             matrix_resize(m, 4, 3);
         }},
    });
}

TEST(TelemetryMatrixDeathTest, SetRowsAndColumnsCheckTheirArguments)
{
    static const uint32_t beyond[] = {0, 7, 0};
    const auto rows = [](const struct matrix *vals, const uint32_t *at) {
        struct matrix *const m = fresh();
        m->fn_set_rows(m->matrix, vals, at);
    };
    const auto columns = [](const struct matrix *vals, const uint32_t *at) {
        struct matrix *const m = fresh();
        m->fn_set_columns(m->matrix, vals, at);
    };
    test::expect_aborts({
        {"_telemetry_matrix_set_rows", "vals != NULL",
         [=] {
             rows(NULL, indices);
         }},
        {"_telemetry_matrix_set_rows", "row_indices != NULL",
         [=] {
             rows(fresh(), NULL);
         }},
        {"_telemetry_matrix_set_rows",
         "j < matrix_get_number_rows(tmatrix->matrix)",
         [=] {
             rows(fresh(), beyond);
         }},
        {"_telemetry_matrix_set_rows",
         "matrix_get_number_columns(tmatrix->matrix) == "
         "matrix_get_number_columns(vals)",
         [=] {
             rows(fresh({{1, 2}}), indices);
         }},
        {"_telemetry_matrix_set_columns", "vals != NULL",
         [=] {
             columns(NULL, indices);
         }},
        {"_telemetry_matrix_set_columns", "col_indices != NULL",
         [=] {
             columns(fresh(), NULL);
         }},
        {"_telemetry_matrix_set_columns",
         "j < matrix_get_number_columns(tmatrix->matrix)",
         [=] {
             columns(fresh(), beyond);
         }},
        {"_telemetry_matrix_set_columns",
         "matrix_get_number_rows(tmatrix->matrix) == "
         "matrix_get_number_rows(vals)",
         [=] {
             columns(fresh({{1, 2}}), indices);
         }},
    });
}

TEST(TelemetryMatrixDeathTest, ConstructionChecksThePartsAndTheirSizes)
{
    static struct matrix m;
    const auto create = [](const table &v, uint32_t nsensors,
                           uint32_t ntimestamps) {
        telemetry_matrix_create(make(v).release(), test::make_sensors(nsensors),
                                test::make_timestamps(ntimestamps));
    };
    test::expect_aborts({
        {"telemetry_matrix_init", "m != NULL",
         [] {
             parts p;
             telemetry_matrix_init(NULL, p.matrix, p.sensors, p.timestamps);
         }},
        {"telemetry_matrix_init", "matrix != NULL",
         [] {
             parts p;
             telemetry_matrix_init(&m, NULL, p.sensors, p.timestamps);
         }},
        {"telemetry_matrix_init", "sensors != NULL",
         [] {
             parts p;
             telemetry_matrix_init(&m, p.matrix, NULL, p.timestamps);
         }},
        {"telemetry_matrix_init", "timestamps != NULL",
         [] {
             parts p;
             telemetry_matrix_init(&m, p.matrix, p.sensors, NULL);
         }},
        {"telemetry_matrix_create", "m != NULL",
         [] {
             parts p;
             telemetry_matrix_create(NULL, p.sensors, p.timestamps);
         }},
        {"telemetry_matrix_create", "sensors != NULL",
         [] {
             parts p;
             telemetry_matrix_create(p.matrix, NULL, p.timestamps);
         }},
        {"telemetry_matrix_create", "timestamps != NULL",
         [] {
             parts p;
             telemetry_matrix_create(p.matrix, p.sensors, NULL);
         }},
        {"_telemetry_matrix_create_body",
         "matrix_get_number_columns(m) == sensor_array_get_size(sensors)",
         [=] {
             create(values, 2, 2);
         }},
        {"_telemetry_matrix_create_body",
         "matrix_get_number_rows(m) == timestamp_array_get_size(timestamps)",
         [=] {
             create(values, 3, 3);
         }},
    });
}

TEST(TelemetryMatrixDeathTest, VectorsCheckTheirParts)
{
    static struct matrix m;
    static const struct timestamp t = at(1);
    std::vector<test::abort_in> rows = {
        {"telemetry_matrix_init_vector", "m != NULL", [] {
             parts p;
             telemetry_matrix_init_vector(NULL, p.matrix, p.sensors, &t);
         }}};
    const auto add = [&](const char *function, auto make_vector) {
        rows.insert(rows.end(),
                    {{function, "vector != NULL",
                      [=] {
                          make_vector(nullptr, test::make_sensors(3), &t);
                      }},
                     {function, "matrix_get_number_rows(vector) == 1",
                      [=] {
                          make_vector(matrix_create(2, 3),
                                      test::make_sensors(3), &t);
                      }},
                     {function, "sensors != NULL",
                      [=] {
                          make_vector(matrix_create(1, 3), nullptr, &t);
                      }},
                     {function, "timestamp != NULL", [=] {
                          make_vector(matrix_create(1, 3),
                                      test::make_sensors(3), nullptr);
                      }}});
    };
    add("telemetry_matrix_init_vector",
        [](struct matrix *vector, struct sensor_array *sensors,
           const struct timestamp *timestamp) {
            telemetry_matrix_init_vector(&m, vector, sensors, timestamp);
        });
    add("telemetry_matrix_create_vector", telemetry_matrix_create_vector);
    test::expect_aborts(rows);
}

TEST(TelemetryMatrixDeathTest, UpdatingChecksTheVector)
{
    const auto update = [](struct matrix *vector) {
        const struct timestamp t = at(1);
        telemetry_matrix_update_vector_timestamp(vector, &t);
    };
    const char *const function = "telemetry_matrix_update_vector_timestamp";
    test::expect_aborts({
        {function, "m != NULL",
         [=] {
             update(NULL);
         }},
        {function, "m->version > 0",
         [=] {
             struct matrix *const vector = vector_at(1).release();
             vector->version = 0;
             update(vector);
         }},
        {function, "matrix_get_type(m) == MATRIX_TYPE_TELEMETRY",
         [=] {
             update(matrix_create(1, 3));
         }},
        {function, "matrix_get_number_rows(m) == 1",
         [=] {
             update(fresh());
         }},
        {function, "tmatrix != NULL",
         [=] {
             update(bodiless({{1, 2}}));
         }},
        {function, "tmatrix->timestamps != NULL",
         [=] {
             update(broken([](auto *b) { b->timestamps = NULL; }, {{1, 2}}));
         }},
        {"timestamp_copy", "t != NULL",
         [] {
             telemetry_matrix_update_vector_timestamp(vector_at(1).release(),
                                                      NULL);
         }},
    });
}

TEST(TelemetryMatrixDeathTest, GettersCheckTheBody)
{
    using change = void (*)(telemetry_matrix_body *);
    std::vector<test::abort_in> rows;
    const auto add = [&](const char *function, auto get, const char *field,
                         change clear) {
        rows.insert(rows.end(),
                    {{function, "m != NULL",
                      [=] {
                          get(nullptr);
                      }},
                     {function, "m->type == MATRIX_TYPE_TELEMETRY",
                      [=] {
                          get(matrix_create(1, 1));
                      }},
                     {function, "tmatrix != NULL",
                      [=] {
                          get(bodiless());
                      }},
                     {function, "tmatrix->version == TELEMETRY_MATRIX_VERSION",
                      [=] {
                          get(broken([](auto *b) { b->version = 9; }));
                      }},
                     {function, field, [=] {
                          get(broken(clear));
                      }}});
    };
    const change no_matrix = [](auto *b) {
        b->matrix = NULL;
    };
    const change no_sensors = [](auto *b) {
        b->sensors = NULL;
    };
    const change no_timestamps = [](auto *b) {
        b->timestamps = NULL;
    };
    add("telemetry_matrix_get_number_sensors",
        telemetry_matrix_get_number_sensors, "tmatrix->matrix != NULL",
        no_matrix);
    add("telemetry_matrix_get_number_timestamps",
        telemetry_matrix_get_number_timestamps, "tmatrix->matrix != NULL",
        no_matrix);
    add("telemetry_matrix_get_sensors", telemetry_matrix_get_sensors,
        "tmatrix->sensors != NULL", no_sensors);
    add("telemetry_matrix_get_timestamps", telemetry_matrix_get_timestamps,
        "tmatrix->timestamps != NULL", no_timestamps);
    test::expect_aborts(rows);
}

TEST(TelemetryMatrixDeathTest, ComparisonChecksBothMatrices)
{
    const auto equal = [](const struct matrix *m1, const struct matrix *m2) {
        telemetry_matrix_is_equal(m1, m2);
    };
    const auto unlabelled = [](bool sensors) {
        return sensors ? broken([](auto *b) { b->sensors = NULL; })
                       : broken([](auto *b) { b->timestamps = NULL; });
    };
    const char *const is_equal = "telemetry_matrix_is_equal";
    test::expect_aborts({
        {is_equal, "m1 != NULL",
         [=] {
             equal(NULL, fresh());
         }},
        {is_equal, "matrix_get_type(m1) == MATRIX_TYPE_TELEMETRY",
         [=] {
             equal(matrix_create(2, 3), fresh());
         }},
        {is_equal, "m2 != NULL",
         [=] {
             equal(fresh(), NULL);
         }},
        {is_equal, "matrix_get_type(m2) == MATRIX_TYPE_TELEMETRY",
         [=] {
             equal(fresh(), matrix_create(2, 3));
         }},
        {is_equal, "sensors1 != NULL",
         [=] {
             equal(unlabelled(true), fresh());
         }},
        {is_equal, "sensors2 != NULL",
         [=] {
             equal(fresh(), unlabelled(true));
         }},
        {is_equal, "timestamps1 != NULL",
         [=] {
             equal(unlabelled(false), fresh());
         }},
        {is_equal, "timestamps2 != NULL",
         [=] {
             equal(fresh(), unlabelled(false));
         }},
    });
}

TEST(TelemetryMatrixDeathTest, CloningAndDetachingCheckTheMatrix)
{
    const char *const clone = "telemetry_matrix_clone_with_values";
    const char *const detach = "telemetry_matrix_detach_original_matrix";
    test::expect_aborts({
        {clone, "m != NULL",
         [] {
             telemetry_matrix_clone_with_values(NULL, matrix_create(2, 3));
         }},
        {clone, "m->type == MATRIX_TYPE_TELEMETRY",
         [] {
             telemetry_matrix_clone_with_values(matrix_create(2, 3),
                                                matrix_create(2, 3));
         }},
        {clone, "vals != NULL",
         [] {
             telemetry_matrix_clone_with_values(fresh(), NULL);
         }},
        {clone, "matrix_is_equal_dimensions(m, vals)",
         [] {
             telemetry_matrix_clone_with_values(fresh(), matrix_create(3, 2));
         }},
        {detach, "m != NULL",
         [] {
             telemetry_matrix_detach_original_matrix(NULL);
         }},
        {detach, "matrix_get_type(m) == MATRIX_TYPE_TELEMETRY",
         [] {
             telemetry_matrix_detach_original_matrix(matrix_create(1, 1));
         }},
        {detach, "tmatrix != NULL",
         [] {
             telemetry_matrix_detach_original_matrix(bodiless());
         }},
        {detach, "tmatrix->version == TELEMETRY_MATRIX_VERSION",
         [] {
             telemetry_matrix_detach_original_matrix(
                 broken([](auto *b) { b->version = 9; }));
         }},
        {detach, "tmatrix->matrix != NULL",
         [] {
             telemetry_matrix_detach_original_matrix(
                 broken([](auto *b) { b->matrix = NULL; }));
         }},
    });
}
