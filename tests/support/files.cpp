#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/kept_files.hpp"
#include "support/support.hpp"

namespace fs = std::filesystem;

namespace test {

std::string name_of_test()
{
    const auto *const unit = testing::UnitTest::GetInstance();
    const testing::TestInfo *const test = unit->current_test_info();
    if (test == nullptr) return "no-test";
    return std::string(test->test_suite_name()) + "." + test->name();
}

namespace {

// In memory, unless TMPDIR says otherwise: the tests sync much.
fs::path place_of_scratch_folders()
{
    constexpr char memory[] = "/dev/shm";
    const bool is_free = std::getenv("TMPDIR") == nullptr;
    return is_free && access(memory, W_OK | X_OK) == 0
               ? memory
               : fs::temp_directory_path();
}

}  // namespace

scratch_folder::scratch_folder()
    : previous_(fs::current_path()), owner_(getpid())
{
    std::string name = place_of_scratch_folders() / "libkor-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) std::abort();
    path_ = name;
    fs::current_path(path_);
}

scratch_folder::~scratch_folder()
{
    std::error_code ignored;
    fs::current_path(previous_, ignored);
    if (owner_ == getpid()) keep_folder(name_of_test(), path_);
    fs::remove_all(path_, ignored);
}

std::string read_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in.good()) << path;
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

void write_file(const std::string &path, const std::string &content)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    EXPECT_TRUE(out.good()) << path;
}

bool file_exists(const std::string &path)
{
    return fs::exists(path);
}

std::vector<std::string> list_folder(const std::string &path)
{
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(path))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

// Inflates one stream at the start of `compressed`; returns the bytes of it
// that the stream took, or 0 when no whole stream stands there.
static size_t inflate_one(const std::string &compressed, size_t start,
                          std::string &content)
{
    z_stream stream = {};
    if (inflateInit(&stream) != Z_OK) return 0;
    std::string input = compressed.substr(start);
    stream.next_in = reinterpret_cast<Bytef *>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    int code = Z_OK;
    while (code == Z_OK) {
        Bytef block[4096];
        stream.next_out = block;
        stream.avail_out = sizeof block;
        code = inflate(&stream, Z_NO_FLUSH);
        content.append(reinterpret_cast<char *>(block),
                       sizeof block - stream.avail_out);
    }
    const size_t used = input.size() - stream.avail_in;
    inflateEnd(&stream);
    return code == Z_STREAM_END ? used : 0;
}

std::vector<std::string> inflate_streams(const std::string &path)
{
    const std::string compressed = read_file(path);
    std::vector<std::string> streams;
    size_t position = 0;
    while (position < compressed.size()) {
        std::string content;
        const size_t used = inflate_one(compressed, position, content);
        if (used == 0) {
            ADD_FAILURE() << path << ": no whole stream at " << position;
            break;
        }
        streams.push_back(content);
        position += used;
    }
    return streams;
}

std::string inflate_file(const std::string &path)
{
    std::string content;
    for (const std::string &stream : inflate_streams(path)) content += stream;
    return content;
}

std::string deflate_stream(const std::string &content)
{
    uLongf size = compressBound(static_cast<uLong>(content.size()));
    std::string stream(size, '\0');
    compress(reinterpret_cast<Bytef *>(stream.data()), &size,
             reinterpret_cast<const Bytef *>(content.data()),
             static_cast<uLong>(content.size()));
    stream.resize(size);
    return stream;
}

}  // namespace test
