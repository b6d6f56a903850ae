// Puts errors into the form that editors and people read: file, line, subject, problem, remedy.
#include "diagnostics.h"

#include <ostream>

namespace codegen {

void diagnostics::report(const location &where, std::string_view subject, std::string_view problem,
                         std::string_view remedy) {
    std::string text = where.file;
    if (where.line != 0) {
        text += ":" + std::to_string(where.line);
    }
    text += ": ";
    if (!subject.empty()) {
        text.append(subject).append(": ");
    }
    text.append(problem).append("; ").append(remedy);
    messages_.push_back(std::move(text));
}

void diagnostics::print(std::ostream &stream) const {
    for (const std::string &message : messages_) {
        stream << message << '\n';
    }
}

}  // namespace codegen
