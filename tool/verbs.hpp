// verbs.hpp: what the program can do, one verb a file, with its options.
#ifndef KOR_TOOL_VERBS_HPP
#define KOR_TOOL_VERBS_HPP

#include <cstdint>
#include <set>
#include <string>

#include "exit_status.hpp"
#include "recording.hpp"
#include "selection.hpp"

namespace tool {

struct record_options {
    std::string base;
    std::string file;    // empty: standard input
    std::string events;  // empty: none
    recorder_parameters parameters;
};
exit_status run_record(const record_options &o);

struct sample_options {
    std::string base;
    std::string vorn;  // empty: no text file
    uint32_t every = 5;
    uint64_t for_seconds = 0;  // until stopped
    recorder_parameters parameters;
};
exit_status run_sample(const sample_options &o);

struct info_options {
    std::string name;
    bool as_json = false;
    zone_options zone;
};
exit_status run_info(const info_options &o);

struct cat_options {
    std::string name;
    std::string format = "text";
    std::string file;  // empty: standard output
    selection_options selection;
};
exit_status run_cat(const cat_options &o);
std::set<std::string> cat_format_names();

struct check_options {
    std::string name;
    bool as_json = false;
};
exit_status run_check(const check_options &o);

struct recover_options {
    std::string base;
    recorder_parameters parameters = {0, 0};
    bool dry_run = false;
    bool as_json = false;
};
exit_status run_recover(const recover_options &o);

}  // namespace tool

#endif
