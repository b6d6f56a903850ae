// Decides whether a text is a well-formed document, character by character.
#include "xml_scan.h"

#include <strings.h>

#include <algorithm>

#include "values/escapes.h"
#include "xml_characters.h"
#include "xml_index.h"

namespace velalib {

namespace {

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

/** Goes over a document once, keeping the names of the elements that are open. */
class scanner {
  public:
    scanner(std::string_view text, std::vector<size_t> *lost_values) : text_(text), lost_values_(lost_values) {}

    objection run();

  private:
    bool at_end() const { return at_ == text_.size(); }
    /** The character here; NUL, which no document has, at the end. */
    char here() const { return at_end() ? '\0' : text_[at_]; }
    bool is_here(std::string_view what) const { return text_.substr(at_).starts_with(what); }
    bool take(std::string_view what);
    bool take_blanks();
    bool take_name(std::string_view *name);
    /** Refuses, at a position; always false. */
    bool refuse(size_t position, const char *reason);

    // Each goes over what it is named after, and is false when that is refused.
    bool character();
    bool characters_until(std::string_view end, size_t start, const char *reason);
    bool reference();
    bool content();
    bool markup();
    bool declaration();
    bool declared(std::string_view name, std::string_view *value);
    bool comment();
    bool section();
    bool instruction();
    bool start_tag();
    bool open(std::string_view name);
    bool attributes();
    bool attribute_value();
    bool repeated_attribute();
    bool end_tag();

    std::string_view text_;
    std::vector<size_t> *lost_values_;
    size_t at_ = 0;
    objection found_;
    bool had_root_ = false;
    u_int32 depth_ = 0;
    std::string_view open_[max_xml_depth];
    std::vector<std::string_view> attributes_;  // names of those of one tag
};

bool scanner::refuse(size_t position, const char *reason) {
    found_ = {reason, position};
    return false;
}

bool scanner::take(std::string_view what) {
    if (!is_here(what)) {
        return false;
    }
    at_ += what.size();
    return true;
}

bool scanner::take_blanks() {
    const size_t start = at_;
    while (is_blank(here())) {
        ++at_;
    }
    return at_ != start;
}

bool scanner::take_name(std::string_view *name) {
    const size_t end = name_end(text_, at_);
    *name = text_.substr(at_, end - at_);
    at_ = end;
    return !name->empty();
}

/** Any one character. */
bool scanner::character() {
    const u_int8 first = static_cast<u_int8>(text_[at_]);
    if (first >= 0x80) {
        const size_t length = values::xml_character_length(text_.data() + at_, text_.size() - at_);
        if (length == 0) {
            return refuse(at_, "bytes that are no UTF-8, or a character that XML cannot carry");
        }
        at_ += length;
        return true;
    }
    if (first == 0) {
        return refuse(at_, "a NUL character");
    }
    if (first < 0x20 && !is_blank(text_[at_])) {
        return refuse(at_, "a control character, which XML cannot carry");
    }
    ++at_;
    return true;
}

/** Goes on behind `end`; refuses what began at `start` when it is not there. */
bool scanner::characters_until(std::string_view end, size_t start, const char *reason) {
    while (!at_end()) {
        if (take(end)) {
            return true;
        }
        if (!character()) {
            return false;
        }
    }
    return refuse(start, reason);
}

bool scanner::reference() {
    const size_t length = reference_length(text_.substr(at_));
    if (length == 0) {
        return refuse(at_, "an '&' that starts none of XML's own references; write it as &amp;");
    }
    at_ += length;
    return true;
}

bool scanner::content() {
    while (!at_end() && here() != '<') {
        if (depth_ == 0 && !is_blank(here())) {
            return refuse(at_, "text outside the root element");
        }
        if (is_here("]]>")) {
            return refuse(at_, "']]>' in a text; write it as ]]&gt;");
        }
        if (here() == '&' ? !reference() : !character()) {
            return false;
        }
    }
    return true;
}

bool scanner::comment() {
    const size_t start = at_;
    at_ += 4;
    while (!at_end()) {
        if (is_here("--")) {
            return take("-->") || refuse(at_, "'--' within a comment; a comment ends with -->");
        }
        if (!character()) {
            return false;
        }
    }
    return refuse(start, "this comment does not end");
}

bool scanner::section() {
    const size_t start = at_;
    if (depth_ == 0) {
        return refuse(at_, "text outside the root element");
    }
    at_ += 9;
    return characters_until("]]>", start, "this CDATA section does not end");
}

bool scanner::instruction() {
    const size_t start = at_;
    at_ += 2;
    std::string_view target;
    if (!take_name(&target)) {
        return refuse(start, "a processing instruction without a name");
    }
    if (target.size() == 3 && strncasecmp(target.data(), "xml", 3) == 0) {
        return refuse(start, "an XML declaration has its place at the very beginning only, and is written <?xml");
    }
    if (!take_blanks() && !is_here("?>")) {
        return refuse(at_, "the name of a processing instruction must end here");
    }
    return characters_until("?>", start, "this processing instruction does not end");
}

/** Takes NAME="VALUE" of a declaration, if it is there. */
bool scanner::declared(std::string_view name, std::string_view *value) {
    const size_t start = at_;
    if (take_blanks() && take(name)) {
        take_blanks();
        if (take("=")) {
            take_blanks();
            const char quote = here();
            const size_t end = quote == '"' || quote == '\'' ? text_.find(quote, at_ + 1) : std::string_view::npos;
            if (end != std::string_view::npos) {
                *value = text_.substr(at_ + 1, end - at_ - 1);
                at_ = end + 1;
                return true;
            }
        }
    }
    at_ = start;
    return false;
}

bool scanner::declaration() {
    const size_t start = at_;
    at_ += 5;
    std::string_view version, encoding, standalone;
    if (!declared("version", &version) || version.size() < 3 || !version.starts_with("1.") ||
        version.find_first_not_of("0123456789", 2) != std::string_view::npos) {
        return refuse(start, "a wrong XML declaration; write <?xml version=\"1.0\"?>");
    }
    if (declared("encoding", &encoding) && !is_ascii_or_utf8(encoding)) {
        return refuse(start, "the declaration names another encoding than UTF-8; convert the text and its declaration");
    }
    if (declared("standalone", &standalone) && standalone != "yes" && standalone != "no") {
        return refuse(start, "a wrong XML declaration; standalone is yes or no");
    }
    take_blanks();
    return take("?>") || refuse(start, "a wrong XML declaration; write <?xml version=\"1.0\" encoding=\"UTF-8\"?>");
}

bool scanner::attribute_value() {
    const char quote = here();
    if (quote != '"' && quote != '\'') {
        return refuse(at_, "an attribute's value must stand here, in quotes");
    }
    const size_t start = at_++;
    while (!at_end() && here() != quote) {
        if (here() == '<') {
            return refuse(at_, "'<' in an attribute's value; write it as &lt;");
        }
        if (here() == '&' ? !reference() : !character()) {
            return false;
        }
    }
    return take({&quote, 1}) || refuse(start, "this attribute's value does not end");
}

/** Sorted, for a hostile tag may have very many. */
bool scanner::repeated_attribute() {
    std::sort(attributes_.begin(), attributes_.end());
    const auto twice = std::adjacent_find(attributes_.begin(), attributes_.end());
    if (twice == attributes_.end()) {
        return true;
    }
    return refuse(static_cast<size_t>(std::max(twice[0].data(), twice[1].data()) - text_.data()),
                  "an attribute of a name that this element already has");
}

bool scanner::attributes() {
    attributes_.clear();
    while (true) {
        const bool is_apart = take_blanks();
        std::string_view name;
        if (!take_name(&name)) {
            break;
        }
        if (!is_apart) {
            return refuse(at_ - name.size(), "a blank must stand before an attribute");
        }
        attributes_.push_back(name);
        take_blanks();
        if (!take("=")) {
            return refuse(at_, "an attribute is written NAME=\"VALUE\"; '=' must stand here");
        }
        take_blanks();
        if (!attribute_value()) {
            return false;
        }
    }
    return attributes_.size() < 2 || repeated_attribute();
}

bool scanner::open(std::string_view name) {
    if (depth_ == max_xml_depth) {
        return refuse(static_cast<size_t>(name.data() - text_.data()), "elements are nested too deeply");
    }
    open_[depth_++] = name;
    return true;
}

bool scanner::start_tag() {
    const size_t start = ++at_;
    std::string_view name;
    if (!take_name(&name)) {
        return refuse(at_, "an element's name must stand here; write a '<' in a text as &lt;");
    }
    if (depth_ == 0 && had_root_) {
        return refuse(start, "a second root element; a document has one");
    }
    had_root_ = true;
    if (is_here(lost_value_words) && text_.substr(at_ + lost_value_words.size()).starts_with("/>")) {
        lost_values_->push_back(at_);
        at_ += lost_value_words.size();
    }
    if (!attributes()) {
        return false;
    }
    if (take(">")) {
        return open(name);
    }
    if (!take("/>")) {
        return refuse(at_, "the tag must end here with > or />");
    }
    return depth_ < max_xml_depth || refuse(start, "elements are nested too deeply");
}

bool scanner::end_tag() {
    const size_t start = at_ + 2;
    at_ = start;
    std::string_view name;
    take_name(&name);
    if (depth_ == 0) {
        return refuse(start, "an end tag, but no element is open");
    }
    if (name != open_[depth_ - 1]) {
        return refuse(start, "this end tag is not that of the element which is open");
    }
    take_blanks();
    --depth_;
    return take(">") || refuse(at_, "the end tag must end here with >");
}

bool scanner::markup() {
    if (is_here("</")) {
        return end_tag();
    }
    if (is_here("<!--")) {
        return comment();
    }
    if (is_here("<![CDATA[")) {
        return section();
    }
    if (is_here("<!DOCTYPE")) {
        return refuse(at_, "a document type is not accepted; leave it out");
    }
    if (is_here("<!")) {
        return refuse(at_, "neither a comment nor a CDATA section");
    }
    if (is_here("<?")) {
        return instruction();
    }
    return start_tag();
}

objection scanner::run() {
    take(byte_order_mark);
    const bool is_declared = is_here("<?xml") && text_.size() > at_ + 5 && is_blank(text_[at_ + 5]);
    if (is_declared && !declaration()) {
        return found_;
    }
    while (!at_end()) {
        if (here() == '<' ? !markup() : !content()) {
            return found_;
        }
    }
    if (depth_ != 0) {
        return {"this element is not closed", static_cast<size_t>(open_[depth_ - 1].data() - text_.data())};
    }
    return had_root_ ? objection{} : objection{"there is no element", 0};
}

}  // namespace

objection find_objection(std::string_view text, std::vector<size_t> *lost_values) {
    return scanner(text, lost_values).run();
}

}  // namespace velalib
