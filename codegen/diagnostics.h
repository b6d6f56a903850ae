// Errors found in the schema and the templates: collected, so that one run shows all of them.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace codegen {

/** Where something was read: a file as the user named it and a row of it. */
struct location {
    std::string file;
    unsigned line = 0;
};

class diagnostics {
  public:
    /** Records "file:line: subject: problem; remedy". An empty subject is left out. */
    void report(const location &where, std::string_view subject, std::string_view problem, std::string_view remedy);
    /** Reports it unless it holds. */
    void require(bool holds, const location &where, std::string_view subject, std::string_view problem,
                 std::string_view remedy) {
        if (!holds) {
            report(where, subject, problem, remedy);
        }
    }
    bool empty() const { return messages_.empty(); }
    void print(std::ostream &stream) const;

  private:
    std::vector<std::string> messages_;
};

}  // namespace codegen
