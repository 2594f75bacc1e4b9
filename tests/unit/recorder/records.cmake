kor_test(records_test
  SOURCES
    kor_cb_record_event_test.cpp
    kor_cb_record_sensor_names_test.cpp
    kor_cb_record_sensor_values_test.cpp
    kor_cb_record_test.cpp
    kor_hb_record_events_test.cpp
    kor_hb_record_sensor_names_test.cpp
    kor_hb_record_sensor_values_test.cpp
    kor_hb_record_test.cpp)

kor_test(folds_test
  SOURCES
    kor_current_buffer_compress_test.cpp
    kor_hist_buffer_compress_test.cpp)
