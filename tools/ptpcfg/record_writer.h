// Records in an output format, as they come.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "formats.h"
#include "session.h"

namespace ptpcfg {

/** How several records stand in XML and JSON: in a <ptp_cfg> or array; a single one alone unless that is wanted, too. */
enum class frame { several, always };

class record_writer {
  public:
    using write_fn = std::function<void(std::string_view)>;

    /**
     * @param form       any but a recording
     * @param qualified  in JSON and YAML messages are named with the YANG module in front
     */
    record_writer(format form, write_fn write, frame frame = frame::several, bool qualified = false);

    /** @param heading  a line above the record where the format is text */
    void add(const record &record, std::string_view heading = {});
    /** Writes what ends the output; it is not whole without. */
    void finish();

  private:
    void add_framed(const record &record);
    void append_framed(std::string_view rendered);

    format form_;
    write_fn write_;
    frame frame_;
    bool is_qualified_;
    std::string text_;   // of one record
    std::string first_;  // XML or JSON of the first record, which waits until it is known whether there are more
    size_t count_ = 0;
};

/** Records in an output format. */
std::string render(const std::vector<record> &records, format form);

}  // namespace ptpcfg
