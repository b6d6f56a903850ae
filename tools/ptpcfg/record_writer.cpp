// Writes records in the format that is asked for.
#include "record_writer.h"

#include <utility>

#include "json_records.h"
#include "records.h"
#include "xml_layout.h"
#include "yaml_document.h"

namespace ptpcfg {

namespace {

/** A record that stands alone after all: its lines without the blanks of an element. */
std::string without_depth(const std::string &element) {
    std::string text;
    for (size_t at = 0; at < element.size(); ++at) {
        text += element[at];
        at += element[at] == '\n' ? 2 : 0;
    }
    return text;
}

}  // namespace

record_writer::record_writer(format form, write_fn write, frame frame, bool qualified)
    : form_(form), write_(std::move(write)), frame_(frame), is_qualified_(qualified) {}

void record_writer::add(const record &record, std::string_view heading) {
    ++count_;
    text_.clear();
    switch (form_) {
        case format::xml:
        case format::json:
            add_framed(record);
            return;
        case format::yaml: {
            std::string json;
            append_json(record, {0, is_qualified_}, json);
            text_ = (count_ > 1 ? "---\n" : "") + yaml_of_json(json);
            break;
        }
        case format::bin:
            append_bytes(record, text_);
            break;
        case format::hex:
            append_bytes(record, text_);
            text_ = to_hex(text_);
            break;
        case format::text:
            text_ = heading;
            append_print(record, text_);
            break;
        case format::rec:  // is never an output
            break;
    }
    write_(text_);
}

/** Writes what append_xml() or append_json() gave, within the frame. */
void record_writer::append_framed(std::string_view rendered) {
    if (form_ == format::xml) {
        append_indented(rendered, 1, text_);
        return;
    }
    text_ += count_ > 1 && text_.empty() ? ",\n  " : text_.ends_with("[\n") ? "  " : ",\n  ";
    text_ += rendered;
}

void record_writer::add_framed(const record &record) {
    const bool is_xml = form_ == format::xml;
    const bool waits = count_ == 1 && frame_ == frame::several;
    std::string rendered;
    if (is_xml) {
        append_xml(record, rendered);
    } else {
        append_json(record, {1, is_qualified_}, rendered);
    }
    if (waits) {
        first_ = rendered;
        return;
    }
    if (count_ == 1 || !first_.empty()) {
        text_ = is_xml ? "<ptp_cfg>\n" : "[\n";
    }
    if (!first_.empty()) {
        append_framed(std::exchange(first_, {}));
    }
    append_framed(rendered);
    write_(text_);
}

void record_writer::finish() {
    if (form_ != format::xml && form_ != format::json) {
        return;
    }
    const bool is_xml = form_ == format::xml;
    text_.clear();
    if (is_xml) {
        append_indented(first_, 0, text_);
    } else if (!first_.empty()) {
        text_ = without_depth(first_) + "\n";
    }
    if (frame_ == frame::always || count_ > 1) {
        const char *end = is_xml ? "</ptp_cfg>\n" : "\n]\n";
        const char *nothing = is_xml ? "<ptp_cfg/>\n" : "[]\n";
        text_ += count_ == 0 ? nothing : end;
    }
    write_(text_);
}

std::string render(const std::vector<record> &records, format form) {
    std::string output;
    record_writer writer(form, [&output](std::string_view text) { output += text; });
    for (const record &record : records) {
        writer.add(record);
    }
    writer.finish();
    return output;
}

}  // namespace ptpcfg
