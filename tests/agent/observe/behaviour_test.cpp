// What the catalogue of behaviours says of reports is what the rows of reports do.
#include <gtest/gtest.h>

#include <map>

#include "agent/observe/reporter.h"

namespace ptp_agent {
namespace {

/** The source of a field in the catalogue: its own line, or that of the structure around it. */
const FieldBehaviour *stated(const Behaviour &behaviour, std::string path) {
    for (;;) {
        for (const FieldBehaviour &field : behaviour.fields) {
            if (field.path == path) {
                return &field;
            }
        }
        const std::size_t dot = path.rfind('.');
        if (dot == std::string::npos) {
            return nullptr;
        }
        path.resize(dot);
    }
}

void compare(const ReportRow &row) {
    const Behaviour *behaviour = behaviour_of(row.message);
    ASSERT_NE(behaviour, nullptr) << row.message;
    EXPECT_EQ(behaviour->kind, Behaviour::Kind::Reported) << row.message;
    const auto check = [&](const std::string &path, FieldSource source) {
        const FieldBehaviour *field = stated(*behaviour, path);
        ASSERT_NE(field, nullptr) << row.message << " " << path;
        EXPECT_EQ(to_text(field->source), to_text(source)) << row.message << " " << path;
    };
    for (const RowGroup &group : row.groups) {
        for (const FieldRow &field : group.rows) {
            check(std::string(group.prefix) + field.path, field.origin);
        }
    }
    for (const FieldRow &field : row.array.rows) {
        check(std::string(row.array.field) + "." + field.path, field.origin);
    }
}

TEST(Behaviours, OfReportsAreThoseOfTheirRows) {
    std::map<std::string, int> rows;
    for (const auto &each : {clock_report_rows(), port_report_rows(), master_report_rows()}) {
        for (const ReportRow &row : each) {
            compare(row);
            ++rows[row.message];
        }
    }
    for (const ReportRow *event : {&selected_master_event(), &set_time_event(), &step_time_event(), &registration()}) {
        compare(*event);
        ++rows[event->message];
    }
    for (const Behaviour &behaviour : behaviours()) {
        if (behaviour.kind == Behaviour::Kind::Reported) {
            EXPECT_EQ(rows[behaviour.message], 1) << behaviour.message << " is said to be reported";
        }
    }
}

}  // namespace
}  // namespace ptp_agent
