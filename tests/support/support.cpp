#include "support/support.hpp"

#include <algorithm>
#include <cctype>

namespace test {

std::string bytes(const char *hex)
{
    std::string digits;
    for (const char *p = hex; *p != '\0'; ++p)
        if (std::isxdigit(static_cast<unsigned char>(*p))) digits += *p;
    std::string result;
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        result +=
            static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return result;
}

memory_writer::memory_writer()
{
    base_.version = WRITER_VERSION;
    base_.type = WRITER_TYPE_RAW;
    base_.writer = this;
    base_.fn_write_bytes = [](void *state, const void *buf, uint32_t len) {
        return static_cast<memory_writer *>(state)->write(buf, len);
    };
    base_.fn_flush = [](void *) {
        return 0;
    };
    base_.fn_destruct = [](void *) {
        return 0;
    };
}

int memory_writer::write(const void *buf, uint32_t len)
{
    ++calls_;
    if (calls_left_ == 0) return code_;
    if (calls_left_ > 0) --calls_left_;
    bytes_.append(static_cast<const char *>(buf), len);
    return static_cast<int>(len);
}

memory_reader::memory_reader(std::string bytes) : bytes_(std::move(bytes))
{
    base_.version = READER_VERSION;
    base_.type = READER_TYPE_RAW;
    base_.reader = this;
    base_.fn_read_bytes = [](void *state, void *buf, uint32_t len) {
        return static_cast<memory_reader *>(state)->read(buf, len);
    };
    base_.fn_eof = [](void *state) {
        auto *self = static_cast<memory_reader *>(state);
        return self->position_ == self->bytes_.size() ? 1 : 0;
    };
    base_.fn_destruct = [](void *) {
        return 0;
    };
}

int memory_reader::read(void *buf, uint32_t len)
{
    if (calls_left_ == 0) return code_;
    if (calls_left_ > 0) --calls_left_;
    const size_t n = std::min<size_t>(len, bytes_.size() - position_);
    std::memcpy(buf, bytes_.data() + position_, n);
    position_ += n;
    return static_cast<int>(n);
}

static bool contains(const std::vector<size_t> &values, size_t value)
{
    return std::find(values.begin(), values.end(), value) != values.end();
}

static int expected_of_cut(size_t cut, const std::string &encoding,
                           const cuts &codes)
{
    if (cut == encoding.size()) return static_cast<int>(cut);
    if (cut == 0) return codes.when_empty;
    if (contains(codes.string_starts, cut)) return KOR_ERR_END_OF_STREAM;
    return KOR_ERR_TRUNCATED;
}

void expect_every_cut_is_refused(
    const std::string &encoding, const cuts &codes,
    const std::function<int(struct reader *)> &read)
{
    for (size_t cut = 0; cut <= encoding.size(); ++cut) {
        if (contains(codes.aborting, cut)) continue;
        SCOPED_TRACE("cut after " + std::to_string(cut) + " bytes");
        memory_reader in(encoding.substr(0, cut));
        EXPECT_EQ(read(in.get()), expected_of_cut(cut, encoding, codes));
    }
}

}  // namespace test
