// The one algorithm over report rows.
#include "agent/observe/report_maker.h"

#include <algorithm>
#include <stdexcept>

namespace ptp_agent {
namespace {

bool is_known(const Value &value) { return !std::holds_alternative<std::monostate>(value); }

const ptp_cfg_type *message_named(const char *name) {
    const ptp_cfg_type *type = ptp_cfg_type_find(name);
    if (type == nullptr) {
        throw std::logic_error(std::string("there is no message ") + name);
    }
    return type;
}

}  // namespace

void *payload_of(const Record &record, u_int32 index) {
    u_int32 err = 0;
    return ptp_cfg_field_get(record.type(), index, record.handle(), 0, record.message(), 0, &err);
}

ReportMaker::ReportMaker(const ReportRow &row) : row_(&row), message_(message_named(row.message)) {
    for (const RowGroup &group : row.groups) {
        const ptp_cfg_type *structure = payload_type(message_, group.payload);
        for (const FieldRow &field : group.rows) {
            fields_.push_back({&field, group.payload, FieldPath(structure, std::string(group.prefix) + field.path)});
        }
    }
    if (row.array.field == nullptr) {
        return;
    }
    const ptp_cfg_type *structure = payload_type(message_, 0);
    capacity_ = capacity_of(structure, row.array.field, &element_);
    for (const FieldRow &field : row.array.rows) {
        element_paths_.emplace_back(element_, field.path);
    }
    if (row.array.count != nullptr) {
        count_path_.emplace_back(structure, row.array.count);
    }
}

ReportValues ReportMaker::values(const ReportSource &source, std::span<const ReportSource> elements) const {
    ReportValues result;
    for (const Field &field : fields_) {
        result.fields.push_back(field.row->value(source));
    }
    result.count = static_cast<std::int64_t>(elements.size());
    for (const ReportSource &element : elements.first(std::min(elements.size(), capacity_))) {
        std::vector<Value> &values = result.elements.emplace_back();
        for (const FieldRow &row : row_->array.rows) {
            values.push_back(row.value(element));
        }
    }
    return result;
}

bool ReportMaker::has_changed(const ReportValues &now, const ReportValues &before) const {
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        if (fields_[i].row->role == FieldRow::Role::Plain && is_known(now.fields[i]) &&
            now.fields[i] != before.fields[i]) {
            return true;
        }
    }
    return now.elements != before.elements || now.count != before.count;
}

bool ReportMaker::is_empty(const ReportValues &values) const {
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        if (fields_[i].row->role == FieldRow::Role::Plain && is_known(values.fields[i])) {
            return false;
        }
    }
    return values.elements.empty();
}

Record ReportMaker::make(const SharedHandle &handle, const ReportValues &now, const ReportValues *before) const {
    Record record(handle, message_);
    const bool is_part = before != nullptr && row_->by_field;
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        const bool told = is_part && fields_[i].row->role != FieldRow::Role::Key && now.fields[i] == before->fields[i];
        // What was told before comes along unmarked, for receivers that do not look at flags.
        if (is_known(now.fields[i])) {
            fields_[i].path.set(handle.get(), payload_of(record, fields_[i].payload), now.fields[i], !told);
        }
    }
    if (capacity_ > 0) {
        fill_array(record, now);
    }
    return record;
}

void ReportMaker::fill_array(Record &record, const ReportValues &now) const {
    const ptp_cfg_type *structure = payload_type(message_, 0);
    void *payload = payload_of(record, 0);
    for (std::size_t i = 0; i < now.elements.size(); ++i) {
        void *element = mark_element(structure, row_->array.field, record.handle(), payload, static_cast<u_int32>(i));
        for (std::size_t field = 0; field < element_paths_.size(); ++field) {
            if (is_known(now.elements[i][field])) {
                element_paths_[field].set(record.handle(), element, now.elements[i][field]);
            }
        }
    }
    for (const FieldPath &count : count_path_) {
        count.set(record.handle(), payload, Value(now.count));
    }
}

}  // namespace ptp_agent
