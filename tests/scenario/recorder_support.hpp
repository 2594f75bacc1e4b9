// recorder_support.hpp: a recorder and what it leaves in its folder.
#ifndef KOR_TESTS_RECORDER_SUPPORT_HPP
#define KOR_TESTS_RECORDER_SUPPORT_HPP

#include <map>
#include <string>

#include "kor.h"
#include "unit/recorder/buffer_support.hpp"

namespace test {

using kor_holder = holder<struct kor, kor_close>;

inline kor_holder create_recorder(uint32_t samples = 4, uint32_t intervals = 2)
{
    return kor_holder(kor_create("rec", samples, intervals));
}
inline kor_holder open_recorder()
{
    return kor_holder(kor_open("rec"));
}
inline int write_sample(const kor_holder &kor, int i)
{
    return kor_write_telemetry_vector(kor.get(), sample(i).get());
}
// Writes the samples from `from` up to `to`.
inline void fill(const kor_holder &kor, int from, int to)
{
    for (int i = from; i < to; ++i)
        ASSERT_EQ(write_sample(kor, i), KOR_OK) << "sample " << i;
}

// Every file of the folder: a buffer inflated, the state as it is.
inline std::map<std::string, std::string> content_of_folder()
{
    std::map<std::string, std::string> content;
    for (const std::string &name : list_folder())
        content[name] =
            name.ends_with(".z") ? inflate_file(name) : read_file(name);
    return content;
}

}  // namespace test

#endif
