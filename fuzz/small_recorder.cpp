#include "small_recorder.hpp"

#include <dirent.h>
#include <unistd.h>

#include <iterator>
#include <string>
#include <vector>

namespace {

constexpr uint32_t first_time = 1167609601;

struct stored_file {
    std::string name;
    std::vector<uint8_t> content;
};
using stored_files = std::vector<stored_file>;

std::vector<uint8_t> read_file(const char *name)
{
    std::vector<uint8_t> content(1u << 14);
    FILE *const file = std::fopen(name, "r");
    if (file == nullptr) std::abort();
    content.resize(std::fread(content.data(), 1, content.size(), file));
    std::fclose(file);
    return content;
}

stored_files read_folder()
{
    stored_files files;
    DIR *const entries = opendir(".");
    if (entries == nullptr) std::abort();
    while (const struct dirent *entry = readdir(entries)) {
        if (entry->d_name[0] == '.') continue;
        files.push_back({entry->d_name, read_file(entry->d_name)});
    }
    closedir(entries);
    return files;
}

stored_files make_stage(unsigned nsamples)
{
    struct kor *kor =
        kor_create("r", fuzz::recorder_samples, fuzz::recorder_intervals);
    if (kor == nullptr) std::abort();
    fuzz::record(kor, nsamples);
    kor_close(&kor);
    stored_files files = read_folder();
    fuzz::empty_folder();
    return files;
}

// All are made before the first is used, so that no input finds the library
// in another condition than those before it.
const stored_files &stage_files(unsigned stage)
{
    static const stored_files stages[fuzz::recorder_stages] = {
        make_stage(2), make_stage(6), make_stage(10), make_stage(14),
        make_stage(19)};
    return stages[stage];
}

enum class change : uint8_t {
    replace,
    replace_deflated,
    append,
    append_deflated,
    overwrite,
    set_length,  // a longer file ends in zeros
    remove,
    pause
};

void overwrite(const char *name, size_t at, fuzz::input content)
{
    FILE *const file = std::fopen(name, "r+");
    if (file == nullptr) return;
    std::fseek(file, static_cast<long>(at), SEEK_SET);
    std::fwrite(content.data, 1, content.size, file);
    std::fclose(file);
}

// Takes the next two bytes for a number.
size_t take_size(fuzz::input *in)
{
    const size_t high = in->take();
    return high << 8 | in->take();
}

// Cuts the next piece off that is at most as long as the next two bytes say.
fuzz::input take_piece(fuzz::input *in)
{
    const size_t wanted = take_size(in);
    const fuzz::input piece = {in->data, wanted < in->size ? wanted : in->size};
    in->data += piece.size;
    in->size -= piece.size;
    return piece;
}

void apply(change kind, const char *name, fuzz::input *in)
{
    if (kind == change::replace)
        fuzz::write_file(name, take_piece(in));
    else if (kind == change::replace_deflated)
        fuzz::write_deflated(name, take_piece(in));
    else if (kind == change::append)
        fuzz::write_file(name, take_piece(in), "a");
    else if (kind == change::append_deflated)
        fuzz::write_deflated(name, take_piece(in), "a");
    else if (kind == change::overwrite) {
        const size_t at = take_size(in);
        overwrite(name, at, take_piece(in));
    } else if (kind == change::set_length) {
        static_cast<void>(truncate(name, static_cast<off_t>(take_size(in))));
    } else {
        std::remove(name);
    }
}

}  // namespace

void fuzz::write_recorder(unsigned stage)
{
    for (const stored_file &file : stage_files(stage))
        write_file(file.name.c_str(),
                   {file.content.data(), file.content.size()});
}

fuzz::input fuzz::damage(input in)
{
    static const char *const names[] = {
        "r.state",    "r.1.cbuf.z", "r.2.cbuf.z", "r.3.cbuf.z",
        "r.4.hbuf.z", "r.5.cbuf.z", "r.6.hbuf.z", "r.7.cbuf.z"};
    while (in.size > 0) {
        const uint8_t what = in.take();
        const auto kind = static_cast<change>(what / std::size(names) % 8);
        if (kind == change::pause) break;
        apply(kind, names[what % std::size(names)], &in);
    }
    return in;
}

void fuzz::record(struct kor *kor, unsigned nsamples)
{
    for (unsigned i = 0; i < nsamples; ++i) {
        const struct timestamp t = time_at(first_time + i);
        struct matrix *vector = create_vector(t);
        kor_write_telemetry_vector(kor, vector);
        struct kor_cb_record_event *event =
            kor_cb_record_event_create(1 + i % 5, &t, "fan fail");
        kor_write_event(kor, event);
        kor_cb_record_event_destroy(&event);
        matrix_destroy(&vector);
    }
}

struct timestamp fuzz::time_at(uint32_t seconds)
{
    struct timestamp t;
    timestamp_init_null(&t);
    timestamp_increment(&t, seconds);
    return t;
}

struct matrix *fuzz::create_vector(const struct timestamp &t)
{
    const char *const names[] = {"CPU0 Temp", "DISK0 READ"};
    struct matrix *const values = matrix_create(1, std::size(names));
    for (uint32_t i = 0; i < std::size(names); ++i)
        matrix_set(values, 0, i, 45.5 + i);
    return telemetry_matrix_create_vector(
        values, sensor_array_create_from_names(names, std::size(names)), &t);
}
