// Playback of arbitrary files.  It promises never to abort.
#include "fuzz.hpp"

static void play(fuzz::input in)
{
    const uint8_t form = in.take();
    const char *const path = form % 2 == 0 ? fuzz::write_file("b", in)
                                           : fuzz::write_deflated("b", in);
    struct kor_playback *playback = kor_playback_open(path);
    if (playback == nullptr) return;
    struct kor_playback_item item;
    while (kor_playback_next(playback, &item) > 0) {
        if (item.kind == KOR_PLAYBACK_DAMAGE && item.length == 0) abort();
    }
    kor_playback_close(&playback);
}

FUZZ_TARGET(play)
