// shared_array.hpp: arrays whose copies share their elements and a counter.
//
// timestamp_array and sensor_array are the same thing under different names.
// A Layout names the differences; shared_array does the work for both.  The
// public functions keep their own assertions, in their own words.
//
// A Layout has: array, element (types); count, elements (members of array);
// version; destroy (element **); counts_references (const element &);
// element_form (the serializer of an element pointer).
#ifndef KOR_MODEL_SHARED_ARRAY_HPP
#define KOR_MODEL_SHARED_ARRAY_HPP

#include <cstdint>
#include <cstdlib>

#include "common/lifecycle.hpp"
#include "error.h"
#include "io/codec.hpp"

namespace vela {

// How an array begins where it is stored; `count` comes back from reading.
template <class Archive>
void array_head(Archive &archive, uint8_t version, uint8_t expected,
                uint32_t &count) noexcept
{
    archive.version(version, expected);
    archive.u32(count);
    archive.check(count >= 1 && count <= max_serialized_count,
                  KOR_ERR_TOO_LONG);
}

template <class Layout>
class shared_array {
    using array = typename Layout::array;
    using element = typename Layout::element;

    // A zero-filled element block that is not yet part of an array.
    class block {
    public:
        explicit block(uint32_t count) noexcept
            : count_(count),
              items_(static_cast<element **>(
                  std::calloc(count, sizeof(element *))))
        {
        }
        block(const block &) = delete;
        block &operator=(const block &) = delete;
        ~block()
        {
            if (items_ != nullptr) destroy_all(items_, count_);
        }
        element **get() const noexcept { return items_; }
        void release() noexcept { items_ = nullptr; }

    private:
        uint32_t count_;
        element **items_;
    };

    static void destroy_all(element **items, uint32_t count) noexcept
    {
        for (uint32_t i = 0; i < count; ++i)
            if (items[i] != nullptr) Layout::destroy(&items[i]);
        std::free(items);
    }

public:
    static void make_null(array &a) noexcept
    {
        a.version = Layout::version;
        a.*Layout::count = 0;
        a.*Layout::elements = nullptr;
        a.ref_count = nullptr;
    }

    // Takes over `items`.  On -22 they stay the caller's and `a` is null.
    static int adopt(array &a, element **items, uint32_t count) noexcept
    {
        make_null(a);
        auto *const counter =
            static_cast<uint32_t *>(std::malloc(sizeof(uint32_t)));
        if (counter == nullptr) return KOR_ERR_NO_MEMORY;
        *counter = 1;
        a.ref_count = counter;
        a.*Layout::count = count;
        a.*Layout::elements = items;
        return KOR_OK;
    }

    static int adopt_empty(array &a, uint32_t count) noexcept
    {
        make_null(a);
        block items(count);
        if (items.get() == nullptr) return KOR_ERR_NO_MEMORY;
        const int result = adopt(a, items.get(), count);
        if (result == KOR_OK) items.release();
        return result;
    }

    // Makes `copy` one more owner of the elements of `a`.
    static void share(const array &a, array &copy) noexcept
    {
        copy = a;
        if (copy.ref_count != nullptr) ++*copy.ref_count;
    }

    // Drops one owner; the last one destroys the elements.
    static void release(array &a) noexcept
    {
        if (a.ref_count != nullptr && --*a.ref_count == 0) {
            destroy_all(a.*Layout::elements, a.*Layout::count);
            std::free(a.ref_count);
        }
        make_null(a);
        a.version = 0;
    }

    // Stores `item` in place of the element at `i`, which is destroyed.  An
    // item that is there already is one object with one owner, unless its
    // references are counted: then one of the two is dropped.
    static element *replace(array &a, int i, element *item) noexcept
    {
        element *&slot = (a.*Layout::elements)[i];
        if (slot == nullptr || slot != item || Layout::counts_references(*item))
            put(slot, item);
        return item;
    }

    // The caller has checked the elements; there are at least one and at most
    // max_serialized_count.
    static int write(const array &a, struct writer *out) noexcept
    {
        encoder archive(out);
        uint32_t count = a.*Layout::count;
        array_head(archive, a.version, Layout::version, count);
        for (uint32_t i = 0; i < count; ++i)
            archive.object((a.*Layout::elements)[i], Layout::element_form);
        return archive.result();
    }

    static int read(array &a, struct reader *in) noexcept
    {
        decoder archive(in);
        uint32_t count = 0;
        array_head(archive, a.version, Layout::version, count);
        if (!archive.ok()) return archive.result();

        block items(count);
        if (items.get() == nullptr) return KOR_ERR_NO_MEMORY;
        for (uint32_t i = 0; i < count; ++i)
            archive.object(items.get()[i], Layout::element_form);
        if (!archive.ok()) return archive.result();

        const int result = adopt(a, items.get(), count);
        if (result < 0) return result;
        items.release();
        return archive.result();
    }

private:
    static void put(element *&slot, element *item) noexcept
    {
        if (slot != nullptr) Layout::destroy(&slot);
        slot = item;
    }
};

}  // namespace vela

#endif
