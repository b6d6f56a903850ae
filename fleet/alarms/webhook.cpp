// One event at a time: a receiver sees an alarm begin before it ends.
#include "webhook.h"

#include <curl/curl.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <vector>

namespace ptp_fleet {
namespace {

constexpr std::size_t most_waiting = 10'000;  // beyond, the oldest go
constexpr long answer_s = 10;
constexpr double first_wait_s = 1, longest_wait_s = 60;

std::size_t ignore(char *, std::size_t size, std::size_t count, void *) { return size * count; }

}  // namespace

webhook::webhook(webhook_options options, std::function<void(const std::string &)> tell)
    : options_(std::move(options)), tell_(std::move(tell)) {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    thread_ = std::thread([this] { run(); });
}

webhook::~webhook() {
    {
        const std::lock_guard lock(mutex_);
        is_ending_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void webhook::post(std::string event) {
    const std::lock_guard lock(mutex_);
    if (events_.size() == most_waiting) {
        events_.pop_front();
    }
    events_.push_back(std::move(event));
    changed_.notify_all();
}

std::size_t webhook::waiting() const {
    const std::lock_guard lock(mutex_);
    return events_.size();
}

std::string webhook::try_to_post(const std::string &event) const {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> call(curl_easy_init(), curl_easy_cleanup);
    std::vector<std::string> lines = {"Content-Type: application/cloudevents+json"};
    if (!options_.token_file.empty()) {
        std::ifstream file(options_.token_file);
        std::string token;
        if (!std::getline(file, token)) {
            return options_.token_file + ": cannot be read";
        }
        lines.push_back("Authorization: Bearer " + token);
    }
    curl_slist *list = nullptr;
    for (const std::string &line : lines) {
        list = curl_slist_append(list, line.c_str());
    }
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(list, curl_slist_free_all);
    curl_easy_setopt(call.get(), CURLOPT_URL, options_.url.c_str());
    curl_easy_setopt(call.get(), CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(call.get(), CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(call.get(), CURLOPT_POSTFIELDS, event.c_str());
    curl_easy_setopt(call.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(event.size()));
    curl_easy_setopt(call.get(), CURLOPT_TIMEOUT, answer_s);
    curl_easy_setopt(call.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(call.get(), CURLOPT_WRITEFUNCTION, ignore);
    if (!options_.ca.empty()) {
        curl_easy_setopt(call.get(), CURLOPT_CAINFO, options_.ca.c_str());
    }
    const CURLcode result = curl_easy_perform(call.get());
    long status = 0;
    curl_easy_getinfo(call.get(), CURLINFO_RESPONSE_CODE, &status);
    return result != CURLE_OK               ? curl_easy_strerror(result)
           : status >= 200 && status <= 299 ? ""
                                            : "answers " + std::to_string(status);
}

void webhook::run() {
    using clock = std::chrono::steady_clock;
    std::unique_lock lock(mutex_);
    double wait_s = 0;
    auto trying_since = clock::now();
    for (;;) {
        changed_.wait(lock, [this] { return is_ending_ || !events_.empty(); });
        if (is_ending_) {
            return;
        }
        trying_since = wait_s == 0 ? clock::now() : trying_since;
        const std::string event = events_.front();
        lock.unlock();
        const std::string why = try_to_post(event);
        const bool is_given_up =
            !why.empty() && clock::now() - trying_since > std::chrono::duration<double>(options_.give_up_s);
        if (!why.empty() && (wait_s == 0 || is_given_up)) {
            tell_(options_.url + ": " + why + (is_given_up ? "; the event is given up" : "; tries again"));
        } else if (why.empty() && wait_s != 0) {
            tell_(options_.url + ": takes events again");
        }
        lock.lock();
        if ((why.empty() || is_given_up) && !events_.empty() && events_.front() == event) {
            events_.pop_front();
        }
        wait_s = why.empty() || is_given_up ? 0 : wait_s == 0 ? first_wait_s : std::min(wait_s * 2, longest_wait_s);
        changed_.wait_for(lock, std::chrono::duration<double>(wait_s), [this] { return is_ending_; });
    }
}

}  // namespace ptp_fleet
