// Playback of arbitrary files and of damaged recorders.  It promises never to
// abort.
#include "fuzz.hpp"
#include "small_recorder.hpp"

static void play_on(struct kor_playback *playback)
{
    struct kor_playback_item item;
    while (kor_playback_next(playback, &item) > 0) {
        if (item.n_sensors > 0 && item.names == nullptr) abort();
    }
}

// What happens to the files behind a pause, happens while they are followed.
static void play_recorder(fuzz::input in)
{
    const uint8_t stage = in.take();
    fuzz::write_recorder(stage % fuzz::recorder_stages);
    in = fuzz::damage(in);
    struct kor_playback *playback = kor_playback_open("r");
    if (playback == nullptr) return;
    play_on(playback);
    fuzz::damage(in);
    play_on(playback);
    kor_playback_close(&playback);
}

static void play_file(const char *name)
{
    struct kor_playback *playback = kor_playback_open(name);
    if (playback == nullptr) return;
    play_on(playback);
    kor_playback_close(&playback);
}

static void play(fuzz::input in)
{
    const uint8_t form = in.take();
    if (form % 3 == 0) {
        fuzz::write_file("b", in);
        play_file("b");
    } else if (form % 3 == 1) {
        fuzz::write_deflated("b", in);
        play_file("b");
    } else {
        play_recorder(in);
    }
}

FUZZ_TARGET(play)
