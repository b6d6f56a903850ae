// ptpcfg: reads, writes, describes, sends and receives the records of this library.

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <new>

#include "base/characters.h"
#include "bitlog.h"
#include "command_line.h"
#include "failure.h"
#include "files.h"

namespace {

/** A line that people can read, also where an input's name for something has megabytes. */
std::string shortened(const std::string &line) {
    constexpr size_t longest = 1000;
    constexpr size_t end = 300;
    return line.size() <= longest ? line : line.substr(0, longest - end) + " [...] " + line.substr(line.size() - end);
}

/** What comes from an input tells a terminal nothing: '?' stands for control characters, of ASCII and behind it. */
std::string harmless(const std::string &line) {
    std::string result;
    for (size_t at = 0; at < line.size(); ++at) {
        const auto behind = static_cast<unsigned char>(at + 1 < line.size() ? line[at + 1] : 0);
        const bool is_c1 = line[at] == '\xC2' && behind >= 0x80 && behind < 0xA0;
        result += is_c1 || base::is_control(line[at]) ? '?' : line[at];
        at += is_c1 ? 1 : 0;
    }
    return result;
}

int report(const std::string &faults, ptpcfg::exit_code code) {
    for (size_t start = 0; start <= faults.size();) {
        const size_t end = std::min(faults.find('\n', start), faults.size());
        std::fprintf(stderr, "ptpcfg: %s\n", shortened(harmless(faults.substr(start, end - start))).c_str());
        start = end + 1;
    }
    return static_cast<int>(code);
}

/** The tool says itself what was wrong; the library's trace is for --trace. */
void silent(void *, const bitlog_record *) {}

}  // namespace

int main(int argc, char **argv) {
    // A reader that went away is an error of write(): what is half done is then taken back.
    std::signal(SIGPIPE, SIG_IGN);
    bitlog_set_sink(silent, nullptr);
    try {
        return ptpcfg::run_command_line(argc, argv);
    } catch (const ptpcfg::failure &error) {
        return report(error.what(), error.code());
    } catch (const ptpcfg::ends_silently &end) {
        return end.status;
    } catch (const ptpcfg::reader_is_gone &) {
        // As other filters end.
        std::signal(SIGPIPE, SIG_DFL);
        std::raise(SIGPIPE);
        return static_cast<int>(ptpcfg::exit_code::io);
    } catch (const std::bad_alloc &) {
        return report("there is not enough memory", ptpcfg::exit_code::io);
    } catch (const std::exception &error) {
        return report(error.what(), ptpcfg::exit_code::bad_input);
    }
}
