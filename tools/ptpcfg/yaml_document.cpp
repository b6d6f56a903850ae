#include "yaml_document.h"

#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/mark.h>
#include <yaml-cpp/parser.h>

#include <algorithm>
#include <sstream>

#include "base/characters.h"
#include "base/utf8.h"
#include "json.h"
#include "yaml_scalars.h"

namespace ptpcfg {
namespace {

constexpr size_t deepest = 64;

constexpr const char *aliases_refused = "aliases are not read; write the value";

/** What yaml-cpp says, and what that means to who wrote the text. */
constexpr std::pair<std::string_view, const char *> explanations[] = {
    {"illegal EOF in scalar", "a text in quotes does not end"},
    {"illegal document indicator in scalar", "a text in quotes does not end"},
    {"end of map not found", "this belongs to no member; look at quotes, colons and the indentation before it"},
    {"end of map flow not found", "',' or '}' is wanted"},
    {"end of sequence not found", "'- ' is wanted, in the column of the list's other elements"},
    {"end of sequence flow not found", "',' or ']' is wanted"},
    {"illegal map value", "a ':' has no place here; a text that has one stands in quotes, and no tabulator indents"},
    {"illegal map key", "a '?' has no place here; a text that begins with one stands in quotes"},
    {"illegal block entry", "a '- ' has no place here; elements stand in lines of their own"},
    {"unknown token", "no value begins with this character; a text that does stands in quotes"},
};

std::string explained(const std::string &message) {
    for (const auto &[known, meaning] : explanations) {
        if (message == known) {
            return meaning;
        }
    }
    return base::printable(message);
}

text_place place_of(std::string_view text, size_t offset) {
    const std::string_view before = text.substr(0, offset);
    const size_t feed = before.rfind('\n');
    return {1 + static_cast<size_t>(std::count(before.begin(), before.end(), '\n')),
            feed == std::string_view::npos ? offset + 1 : offset - feed};
}

text_place place_of(const YAML::Mark &mark) {
    if (mark.is_null()) {
        return {1, 1};
    }
    return {static_cast<size_t>(mark.line) + 1, static_cast<size_t>(mark.column) + 1};
}

/** yaml-cpp takes an end in a new line for that of a text in quotes; the mark of a document's end it does not. */
std::string with_end(const std::string &text) {
    const size_t last = text.find_last_not_of(" \t");
    const bool is_in_new_line = last == std::string::npos || text[last] == '\n';
    return text + (!is_in_new_line ? "" : text.ends_with('\n') ? "...\n" : "\n...\n");
}

/** yaml-cpp would read something else in place of what is no UTF-8. */
void check_characters(const std::string &name, const text_piece &piece) {
    const std::string_view text = piece.text;
    for (size_t at = 0; at < text.size();) {
        const size_t length = base::utf8_length(text.data() + at, text.size() - at);
        const bool is_control =
            base::is_control(text[at]) && std::string_view("\t\r\n").find(text[at]) == std::string_view::npos;
        if (length == 0 || is_control) {
            throw text_failure(name, piece, place_of(text, at),
                               std::string("not well-formed YAML: ") +
                                   (is_control ? "a control character" : "bytes that are no UTF-8; save it as UTF-8"));
        }
        at += length;
    }
}

}  // namespace

/** Takes what yaml-cpp finds, and writes JSON. */
class yaml_events : public YAML::EventHandler {
  public:
    explicit yaml_events(yaml_document &document) : document_(document) {}

    bool has_ended() const { return has_ended_; }
    const std::vector<std::pair<size_t, size_t>> &elements() const { return elements_; }

    void OnDocumentStart(const YAML::Mark &) override {}
    void OnDocumentEnd() override { has_ended_ = true; }
    void OnNull(const YAML::Mark &at, YAML::anchor_t) override {
        begin(at, false);
        json() += "null";
        end();
    }
    void OnAlias(const YAML::Mark &at, YAML::anchor_t) override { refuse(at, aliases_refused); }
    void OnScalar(const YAML::Mark &at, const std::string &tag, YAML::anchor_t, const std::string &value) override {
        const bool is_text = tag == "!" || tag == "tag:yaml.org,2002:str";
        if (!is_text && tag != "?" && !tag.empty()) {
            refuse(at, "tags such as " + tag + " are not read; leave it out");
        }
        begin(at, true);
        json() += is_text || is_name_ ? json_string(value) : json_of_plain_scalar(value);
        end();
    }
    void OnSequenceStart(const YAML::Mark &at, const std::string &, YAML::anchor_t,
                         YAML::EmitterStyle::value) override {
        open(at, '[');
    }
    void OnSequenceEnd() override { close(']'); }
    void OnMapStart(const YAML::Mark &at, const std::string &, YAML::anchor_t, YAML::EmitterStyle::value) override {
        open(at, '{');
    }
    void OnMapEnd() override { close('}'); }

  private:
    struct container {
        bool is_map;
        size_t count;  // of names and values
    };

    std::string &json() { return document_.json_; }

    [[noreturn]] void refuse(const YAML::Mark &at, const std::string &reason) const {
        throw text_failure(document_.name_, document_.piece_, place_of(at), base::printable(reason));
    }
    /** Before a name or value: what separates it from the one before. */
    void begin(const YAML::Mark &at, bool may_be_name) {
        is_name_ = !open_.empty() && open_.back().is_map && open_.back().count % 2 == 0;
        if (is_name_ && !may_be_name) {
            refuse(at, "the name of a member is wanted");
        }
        if (!open_.empty() && open_.back().count != 0) {
            json() += open_.back().is_map && !is_name_ ? ": " : ", ";
        }
        document_.marks_.push_back({json().size(), place_of(at)});
        if (is_element()) {
            elements_.emplace_back(json().size(), 0);
        }
    }
    void end() {
        if (is_element()) {
            elements_.back().second = json().size();
        }
        if (!open_.empty()) {
            ++open_.back().count;
        }
    }
    void open(const YAML::Mark &at, char bracket) {
        begin(at, false);
        if (open_.size() == deepest) {
            refuse(at, "is nested more than 64 deep");
        }
        json() += bracket;
        open_.push_back({bracket == '{', 0});
    }
    void close(char bracket) {
        json() += bracket;
        open_.pop_back();
        end();
    }
    /** Whether what stands here is an element of the document's sequence. */
    bool is_element() const { return open_.size() == 1 && !open_.front().is_map; }

    yaml_document &document_;
    std::vector<container> open_;
    std::vector<std::pair<size_t, size_t>> elements_;
    bool is_name_ = false;
    bool has_ended_ = false;
};

yaml_document::yaml_document(const std::string &name, const text_piece &piece) : name_(name), piece_(piece) {
    check_characters(name, piece);
    std::istringstream text(with_end(piece.text));
    yaml_events events(*this);
    try {
        YAML::Parser parser(text);
        parser.HandleNextDocument(events);
        if (parser) {
            throw text_failure(name, piece, place_of(piece.text, piece.text.size()),
                               "more than one document; each is to be read by itself");
        }
    } catch (const YAML::Exception &error) {
        const bool is_alias = error.msg == "the referenced anchor is not defined";
        throw text_failure(name, piece, place_of(error.mark),
                           is_alias ? aliases_refused : "not well-formed YAML: " + explained(error.msg));
    }
    if (!events.has_ended() || json_ == "null") {
        return;  // comments alone
    }
    if (json_.front() != '[') {
        records_.emplace_back(json_);
    }
    for (const auto &[begin, end] : events.elements()) {
        records_.push_back(std::string_view(json_).substr(begin, end - begin));
    }
}

text_place yaml_document::place_in_piece(std::string_view record, size_t offset) const {
    const size_t at = static_cast<size_t>(record.data() - json_.data()) + offset;
    const auto behind = std::upper_bound(marks_.begin(), marks_.end(), at,
                                         [](size_t value, const mark &each) { return value < each.offset; });
    return behind == marks_.begin() ? marks_.front().place : (behind - 1)->place;
}

std::string yaml_document::place(std::string_view record, size_t offset) const {
    const text_place at = place_in_piece(record, offset);
    return place_in(name_, piece_, at.line, at.column);
}

}  // namespace ptpcfg
