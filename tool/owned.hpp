// owned.hpp: owning pointers to objects of the library.
#ifndef KOR_TOOL_OWNED_HPP
#define KOR_TOOL_OWNED_HPP

#include <memory>

namespace tool {

template <class Function>
struct destroyed_type;
template <class T>
struct destroyed_type<void (*)(T **)> {
    using type = T;
};

template <auto Destroy>
struct destroyer {
    void operator()(auto *object) const { Destroy(&object); }
};

// owned<kor_close> is an owning pointer to a kor.
template <auto Destroy>
using owned = std::unique_ptr<typename destroyed_type<decltype(Destroy)>::type,
                              destroyer<Destroy>>;

}  // namespace tool

#endif
