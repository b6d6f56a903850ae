// From a trace call to a record in the sink.
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <atomic>

#include "bitlog.h"
#include "format.h"
#include "levels.h"
#include "modules.h"
#include "ring.h"

using namespace bitlog;

namespace {

constexpr size_t line_room = 1024;

// A line of a log is one line: arguments may come from outside.
void replace_controls(char *text, size_t length) {
    for (size_t i = 0; i < length; ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c < 0x20 || c == 0x7f) {
            text[i] = '?';
        }
    }
}

void print_to_stderr(void *, const bitlog_record *record) {
    char line[line_room];
    const char *module = bitlog_module_name(record->module_id);
    const char *text = find_message_text(record->module_id, record->number);
    // Without its text a message names its subject itself.
    const char *subject = text != nullptr && record->points != nullptr ? record->points->subject : nullptr;
    int prefix =
        snprintf(line, sizeof line, "%.63s: %s: %.255s%s", module != nullptr ? module : "(no module)",
                 bitlog_level_name(record->level), subject != nullptr ? subject : "", subject != nullptr ? ": " : "");
    size_t start = static_cast<size_t>(prefix);
    size_t needed = format_record(*record, text, line + start, sizeof line - start - 1, controls::kept);
    size_t length = start + needed;
    if (length > sizeof line - 2) {
        length = sizeof line - 2;
        memcpy(line + length - 3, "...", 3);
    }
    replace_controls(line, length);
    line[length++] = '\n';
    while (write(STDERR_FILENO, line, length) < 0 && errno == EINTR) {
    }
}

std::atomic<bitlog_sink_fn> sink{print_to_stderr};
std::atomic<void *> sink_cookie{nullptr};
void add(bitlog_record &record, const char *text) {
    record.kind[record.argument_count] = '1';
    record.argument[record.argument_count++].text = text;
}

void add(bitlog_record &record, uint32_t number) {
    record.kind[record.argument_count] = '4';
    record.argument[record.argument_count++].number = number;
}

void add(bitlog_record &record, const void *address) {
    record.kind[record.argument_count] = '5';
    record.argument[record.argument_count++].address = address;
}

// Callers trace in the middle of failure paths: errno is theirs. The ring comes first: a sink may end the process.
template <typename... Arguments>
[[gnu::noinline]] void deliver(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level,
                               Arguments... arguments) {
    int saved = errno;
    bitlog_record record = {};
    record.points = points;
    record.number = number;
    record.module_id = module_id;
    record.level = level;
    (add(record, arguments), ...);
    write_to_ring(record);
    bitlog_sink_fn listener = sink.load(std::memory_order_acquire);
    if (listener != print_to_stderr || level >> 24 <= default_limit) {
        listener(sink_cookie.load(std::memory_order_relaxed), &record);
    }
    errno = saved;
}

// What is not heard is over before anything is put down.
template <typename... Arguments>
[[gnu::always_inline]] inline void emit(const bitlog_trace_points *points, uint32_t number, uint16_t module_id,
                                        uint32_t level, Arguments... arguments) {
    if (is_heard(module_id, level)) {
        deliver(points, number, module_id, level, arguments...);
    }
}

}  // namespace

void bitlog_set_sink(bitlog_sink_fn new_sink, void *cookie) {
    sink_cookie.store(cookie, std::memory_order_relaxed);
    sink.store(new_sink != nullptr ? new_sink : print_to_stderr, std::memory_order_release);
    set_sink_listens(new_sink != nullptr);
}

void __BLf_0(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level) {
    emit(points, number, module_id, level);
}

void __BLf_1(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level, const char *a) {
    emit(points, number, module_id, level, a);
}

void __BLf_4(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level, uint32_t a) {
    emit(points, number, module_id, level, a);
}

void __BLf_11(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level, const char *a,
              const char *b) {
    emit(points, number, module_id, level, a, b);
}

void __BLf_44(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level, uint32_t a,
              uint32_t b) {
    emit(points, number, module_id, level, a, b);
}

void __BLf_51(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level, const void *a,
              const char *b) {
    emit(points, number, module_id, level, a, b);
}

void __BLf_111(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level, const char *a,
               const char *b, const char *c) {
    emit(points, number, module_id, level, a, b, c);
}

void __BLf_444(const bitlog_trace_points *points, uint32_t number, uint16_t module_id, uint32_t level, uint32_t a,
               uint32_t b, uint32_t c) {
    emit(points, number, module_id, level, a, b, c);
}
