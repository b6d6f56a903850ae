// The subcommands: what each is told, and what does it. Where they come from is command_line.cpp's business.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "channel.h"
#include "damage.h"
#include "formats.h"
#include "inputs.h"
#include "session.h"

namespace ptpcfg {

/** encode, decode, convert and print: one input, one output. */
struct conversion {
    std::string input = "-";
    std::string output = "-";
    std::string from;  // a format's name, or empty
    std::string to;
    std::string type;        // of a record without a message around it
    bool check = false;      // write nothing
    bool qualified = false;  // messages of JSON and YAML are named with the YANG module
    session_options session;
};

/**
 * Reads the input, converts it, writes the output, record by record; `fallback` is the format when neither --to nor an
 * ending says. Without one of the three it fails, unless nothing is written.
 */
void convert(const conversion &options, std::optional<format> fallback);

/** decode --explain: what every byte of the input means. */
void explain(const conversion &options);

struct describe_options {
    std::string name;  // empty: list everything
    int variant = -1;  // from 0: show the bytes of that variant
    bool tracked = false;
    bool xml = false;
    session_options session;
};

void describe(const describe_options &options);

/** search: the names and meanings of types, fields, values and primitives that have a word. */
void search(const std::string &word);

struct diff_options {
    std::string left;
    std::string right;
    std::string from;                 // format of both, or empty
    std::string type;                 // of records without a message around them
    std::vector<std::string> ignore;  // fields
    bool quiet = false;
    session_options session;
};

/** In which fields the messages of two inputs differ. Ends with 1 where they do, and with 2 when it cannot tell. */
void diff(const diff_options &options);

struct get_options {
    input_options input;
    std::string field;
    u_int32 message = 0;  // from 1; 0: each that has the field
    bool json = false;
    session_options session;
};

/** Writes the value of a field, a line for each message that has it. */
void get(const get_options &options);

struct edit_options {
    input_options input;
    std::string output;  // empty: the input's file
    std::vector<std::string> assignments;
    u_int32 message = 0;  // from 1; 0: the one that has the field
    bool all = false;     // each that has it
    session_options session;
};

/** Gives fields other values. */
void edit(const edit_options &options);

enum class schema_language { json_schema, yang };

struct schema_options {
    schema_language language = schema_language::json_schema;
    std::string name;  // of a type or message; empty: all messages
    std::string output = "-";
};

/** What the JSON of messages is like, for validators. */
void write_schema(const schema_options &options);

struct send_options {
    channel_options channel;
    std::vector<std::string> files;
    damage_options damage;  // done to each message
    std::string from;
    session_options session;
};

void send(const send_options &options);

struct listen_options {
    channel_options channel;
    std::string to;
    std::string output = "-";
    std::string record;  // file for recorder XML, or empty
    std::string filter;  // as filter.h has it; empty: all
    bool json = false;   // an object with time and peer on each line
    u_int32 count = 0;   // 0: without end
    session_options session;
};

void listen(const listen_options &options);

struct record_options {
    channel_options channel;
    std::string file;          // a capture when its name ends in .pcapng, else a recording
    u_int64 max_size = 0;      // bytes of a file; 0: the library's default
    u_int32 files = 0;         // files that are kept; 0: the library's default
    bool other_users = false;  // the files may belong to another user
    bool links = false;        // FILE may be a symbolic link
    u_int32 count = 0;         // 0: without end
};

/** Keeps the bytes of what arrives in a recording, whether it is known or not. */
void record_messages(const record_options &options);

struct replay_options {
    std::string file;
    channel_options channel;
    std::string speed = "1";
    std::string from;  // times, or empty
    std::string to;
    std::vector<std::string> filter;  // names of messages; empty: all
};

/** Sends a recording again. */
void replay(const replay_options &options);

struct top_options {
    channel_options channel;
    std::string filter;   // as filter.h has it; empty: all
    double interval = 1;  // seconds between two pictures or blocks of lines
    u_int32 count = 0;    // 0: without end
};

/** Shows what arrives: on a terminal as a picture that is drawn again, else as lines. */
void top(const top_options &options);

struct shell_options {
    channel_options channel;
};

/** Makes, sends and receives messages by commands of a terminal or of standard input. */
void shell(const shell_options &options);

struct trace_options {
    std::string file;
    std::string level = "debug";  // the least severe that is shown
    std::string libraries;        // folder to look for texts in, or empty
    bool follow = false;
    bool json = false;
};

/** Names of the levels, the most severe first. */
std::vector<std::string> trace_levels();

/** Prints what a process traced into a file. */
void print_trace(const trace_options &options);

struct statistics_options {
    std::string file;  // of shared types
    bool all = false;  // also types of which nothing was created
    bool json = false;
};

/** stats: what the processes that share a file of types have created and destroyed. */
void show_statistics(const statistics_options &options);

/** The same of this process, as text. */
std::string statistics_of_this_run();

struct validate_options {
    std::vector<std::string> files;
    std::string from;
    std::string profile;  // empty: each clock's own
    bool json = false;
    session_options session;
};

/**
 * Reads the files, tells the faults of all of them, and judges what their messages ask for where the build has the
 * agent's rules; violations go to standard output and are a fault.
 */
void validate(const validate_options &options);

#ifdef PTPCFG_WITH_AGENT
struct agent_options {
    std::string question;  // status, events, config, metrics or plan
    std::string socket = "/run/ptp_agent/status.sock";
    bool json = false;
    std::vector<std::string> files;  // of plan
    std::string from;
    session_options session;
};

/** Asks a running agent. */
void ask_agent(const agent_options &options);

/** Names of the profiles that have rules. */
std::vector<std::string> validation_profiles();
#endif

/** The type that --type names, or nullptr. */
const ptp_cfg_type *bare_type_of(const std::string &name);

/** The format of an input: --from, else its ending, else its content. */
format input_format(const std::string &from, const std::string &path, std::string_view content);

/** Bytes of an input that are enough to see its format. */
constexpr size_t format_lookahead = 65536;

/** The format of an output: --to, else its ending, else `fallback`. */
format output_format(const std::string &to, const std::string &path, format fallback);

}  // namespace ptpcfg
