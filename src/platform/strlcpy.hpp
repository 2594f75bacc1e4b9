// strlcpy.hpp: a bounded string copy that always terminates.
//
// The C library of the target may or may not have it, so it goes by a name of
// its own.
#ifndef KOR_PLATFORM_STRLCPY_HPP
#define KOR_PLATFORM_STRLCPY_HPP

#include <cstddef>
#include <cstring>

namespace vela {

// Copies what fits of `source` with its NUL into `size` bytes, none when
// `size` is 0.  Returns the length of `source`: a result of `size` or more
// says that the copy was cut.
inline size_t copy_string(char *target, const char *source,
                          size_t size) noexcept
{
    const size_t length = std::strlen(source);
    if (size == 0) return length;
    const size_t ncopied = length < size ? length : size - 1;
    std::memcpy(target, source, ncopied);
    target[ncopied] = '\0';
    return length;
}

}  // namespace vela

#endif
