// Writes records in the format that is asked for.
#include "record_writer.h"

#include <utility>

#include "records.h"
#include "xml_layout.h"

namespace ptpcfg {

record_writer::record_writer(format form, write_fn write, frame frame)
    : form_(form), write_(std::move(write)), frame_(frame) {}

void record_writer::add(const record &record, std::string_view heading) {
    ++count_;
    text_.clear();
    switch (form_) {
        case format::xml:
            add_xml(record);
            return;
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

void record_writer::add_xml(const record &record) {
    std::string rendered;
    append_xml(record, rendered);
    if (count_ == 1 && frame_ == frame::several) {
        first_ = rendered;
        return;
    }
    if (count_ == 1 || !first_.empty()) {
        text_ = "<ptp_cfg>\n";
        append_indented(std::exchange(first_, {}), 1, text_);
    }
    append_indented(rendered, 1, text_);
    write_(text_);
}

void record_writer::finish() {
    if (form_ != format::xml) {
        return;
    }
    text_.clear();
    append_indented(first_, 0, text_);
    if (frame_ == frame::always || count_ > 1) {
        text_ += count_ == 0 ? "<ptp_cfg/>\n" : "</ptp_cfg>\n";
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
