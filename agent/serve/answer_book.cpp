// What became of the bundles that came last, for control planes that ask.
#include "agent/serve/answer_book.h"

#include <zlib.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace ptp_agent {
namespace {

using Json = nlohmann::ordered_json;

/** Those who ask do so within seconds; of a flood only the newest are kept. */
constexpr std::size_t most_pages = 256;

Json to_json(const Violation &violation) {
    return {{"object", violation.object},   {"field", violation.field},   {"value", violation.value},
            {"allowed", violation.allowed}, {"reason", violation.reason}, {"reference", violation.reference},
            {"rule", violation.rule},       {"text", to_text(violation)}};
}

Json to_json(const Answer &answer) {
    Json violations = Json::array();
    for (const Violation &each : answer.violations) {
        violations.push_back(to_json(each));
    }
    return {{"message", answer.message},           {"object", answer.object}, {"outcome", to_text(answer.kind)},
            {"violations", std::move(violations)}, {"unused", answer.unused}, {"text", to_text(answer)}};
}

}  // namespace

std::string AnswerBook::name_of(std::span<const std::uint8_t> bundle) {
    char text[32];
    std::snprintf(text, sizeof text, "%08lx-%zu", ::crc32_z(0, bundle.data(), bundle.size()), bundle.size());
    return text;
}

void AnswerBook::arrived(std::span<const std::uint8_t> bundle) {
    pages_.push_back({++last_, name_of(bundle), State::Arrived, {}});
    if (pages_.size() > most_pages && pages_.front().state == State::Settled) {
        pages_.pop_front();
    }
}

void AnswerBook::taken(std::vector<Answer> answers) {
    const auto page =
        std::find_if(pages_.begin(), pages_.end(), [](const Page &each) { return each.state == State::Arrived; });
    if (page != pages_.end()) {
        page->state = State::Taken;
        page->answers = std::move(answers);
    }
}

void AnswerBook::settle(const std::string &refusal) {
    for (Page &page : pages_) {
        if (page.state != State::Taken) {
            continue;
        }
        page.state = State::Settled;
        for (Answer &answer : page.answers) {
            if (!refusal.empty() && answer.has_changed) {  // all of a batch was tried together
                Violation violation;
                violation.kind = Violation::Kind::Daemon;
                violation.reason = refusal;
                answer.kind = Answer::Kind::Refused;
                answer.violations.push_back(std::move(violation));
            }
        }
    }
    while (pages_.size() > most_pages && pages_.front().state == State::Settled) {
        pages_.pop_front();
    }
}

std::string AnswerBook::json(std::string_view name, std::uint64_t after) const {
    Json answer = {{"last", last_}};
    if (name.empty()) {
        return answer.dump();
    }
    const auto page = std::find_if(pages_.begin(), pages_.end(),
                                   [&](const Page &each) { return each.name == name && each.number > after; });
    answer["state"] = "unknown";
    if (page != pages_.end()) {
        answer["number"] = page->number;
        answer["state"] = page->state == State::Settled ? "done" : "waiting";
        if (page->state == State::Settled) {
            answer["answers"] = Json::array();
            for (const Answer &each : page->answers) {
                answer["answers"].push_back(to_json(each));
            }
        }
    }
    return answer.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string answer_question(const AnswerBook &book, const std::string &line) {
    constexpr std::string_view word = "answers";
    if (line == word) {
        return book.json({}, 0) + "\n";
    }
    const std::size_t blank = line.rfind(' ');
    if (!line.starts_with(std::string(word) + " ") || blank <= word.size()) {
        return {};
    }
    std::uint64_t after = 0;
    const auto [end, code] = std::from_chars(line.data() + blank + 1, line.data() + line.size(), after);
    if (code != std::errc() || end != line.data() + line.size()) {
        return {};
    }
    return book.json(line.substr(word.size() + 1, blank - word.size() - 1), after) + "\n";
}

}  // namespace ptp_agent
