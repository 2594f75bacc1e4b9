kor_test(records_test
  SOURCES
    kor_cb_record_event_test.cpp
    kor_cb_record_sensor_names_test.cpp
    kor_cb_record_sensor_values_test.cpp)
