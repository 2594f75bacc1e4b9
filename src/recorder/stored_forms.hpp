// stored_forms.hpp: stored forms that have more than one user.
#ifndef KOR_RECORDER_STORED_FORMS_HPP
#define KOR_RECORDER_STORED_FORMS_HPP

#include "hist_value.h"
#include "io/codec.hpp"
#include "kor_cb_record_sensor_names.h"
#include "timestamp.h"

namespace vela {

inline constexpr serializer<struct timestamp> timestamp_form = {
    .write = binary_serializer_write_timestamp,
    .read = binary_serializer_read_timestamp,
};

inline constexpr serializer<struct hist_value> hist_value_form = {
    .write = binary_serializer_write_hist_value,
    .read = binary_serializer_read_hist_value,
};

// A names record, whatever holds its columns.
inline constexpr auto names_form = [](auto &archive, uint8_t version, auto &t,
                                      auto &columns, const auto &columns_form) {
    archive.version(version, KOR_CB_RECORD_SENSOR_NAMES_VERSION);
    archive.object(t, timestamp_form);
    archive.object(columns, columns_form);
};

}  // namespace vela

#endif
