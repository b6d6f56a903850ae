// One kind of report: from a source to a message, by its row.
#pragma once

#include <vector>

#include "agent/intent/record.h"
#include "agent/observe/field_path.h"

namespace ptp_agent {

/** The values of a report, in the order of its rows; compared to see what changed. */
struct ReportValues {
    std::vector<Value> fields;
    std::vector<std::vector<Value>> elements;  ///< of the array
    std::int64_t count = 0;                    ///< elements that there are, also those that found no place

    bool operator==(const ReportValues &) const = default;
};

/** A row with its paths found. */
class ReportMaker {
  public:
    /** Throws std::logic_error when the row names something that the message does not have. */
    explicit ReportMaker(const ReportRow &row);

    /** Lives as long as the program. */
    const ReportRow &row() const { return *row_; }
    /** Elements that one message takes; 0 without an array. */
    std::size_t capacity() const { return capacity_; }

    /** The values of now. `elements` are the sources of the array's, from the first that goes into this message on. */
    ReportValues values(const ReportSource &source, std::span<const ReportSource> elements) const;

    /** Whether there is a reason to say `now` to somebody who was told `before`. */
    bool has_changed(const ReportValues &now, const ReportValues &before) const;
    /** Whether anything is known at all. */
    bool is_empty(const ReportValues &values) const;

    /**
     * The message. With `before`, and where the row allows it, only what differs from it.
     * @param handle  should track state: what is not known has its flag clear
     */
    Record make(const SharedHandle &handle, const ReportValues &now, const ReportValues *before) const;

  private:
    struct Field {
        const FieldRow *row;
        u_int32 payload;
        FieldPath path;
    };
    void fill_array(Record &record, const ReportValues &now) const;

    const ReportRow *row_;
    const ptp_cfg_type *message_;
    std::vector<Field> fields_;
    const ptp_cfg_type *element_ = nullptr;
    std::vector<FieldPath> element_paths_;
    std::vector<FieldPath> count_path_;  // none or one
    std::size_t capacity_ = 0;
};

/** The payload of a message as an instance. */
void *payload_of(const Record &record, u_int32 index);

}  // namespace ptp_agent
