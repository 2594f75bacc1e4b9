// Records of a history buffer, and the summaries and counts inside them.
#include "fuzz.hpp"

static void read_records(fuzz::input in)
{
    const uint8_t form = in.take();
    struct reader *const reader = fuzz::reader_over(in);
    if (form % 3 == 0) {
        struct hist_value hv;
        hist_value_init(&hv);
        binary_serializer_read_hist_value(&hv, reader);
    } else if (form % 3 == 1) {
        struct kor_hb_record_events events;
        kor_hb_record_events_init_null(&events);
        binary_serializer_read_kor_hb_record_events(&events, reader);
    } else {
        struct kor_hb_record rec;
        kor_hb_record_init_null(&rec);
        while (binary_serializer_read_kor_hb_record(&rec, reader) > 0) {
        }
        kor_hb_record_destruct(&rec);
    }
}

// A stream that ends right behind the length of a name, or right before the
// second counter.
FUZZ_TARGET(read_records, "nread != 0")
