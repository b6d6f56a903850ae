// Puts table, API and server together, and keeps the table up to date.
#include "web.h"

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "api.h"
#include "arguments.h"
#include "base/clocks.h"
#include "http_server.h"

namespace ptp_fleet {
namespace {

constexpr std::chrono::milliseconds beat(200);

std::string pem_text(const std::string &path) {
    if (path.empty()) {
        return "";
    }
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file || text.str().empty()) {
        throw std::runtime_error(path + " cannot be read");
    }
    return text.str();
}

std::string page_folder(const std::string &chosen) {
    const std::string installed = PTP_FLEET_PAGE;
    return !chosen.empty() || !std::filesystem::exists(installed + "/index.html") ? chosen : installed;
}

http_options server_options(const web_options &from) {
    http_options options;
    const std::size_t colon = from.listen.rfind(':');
    const std::optional<std::uint64_t> port =
        colon == std::string::npos ? std::nullopt
                                   : read_number(std::string_view(from.listen).substr(colon + 1), {0, 65535});
    if (!port) {
        throw std::runtime_error("'" + from.listen + "' is nothing to listen on; give ADDRESS:PORT");
    }
    options.port = static_cast<std::uint16_t>(*port);
    options.address = from.listen.substr(0, colon);
    if (options.address.size() > 2 && options.address.front() == '[' && options.address.back() == ']') {
        options.address = options.address.substr(1, options.address.size() - 2);
    }
    if (from.certificate.empty() != from.key.empty()) {
        throw std::runtime_error("TLS wants both a certificate and its key");
    }
    options.certificate = pem_text(from.certificate);
    options.key = pem_text(from.key);
    return options;
}

}  // namespace

class web::core {
  public:
    core(const web_options &options, const services &from)
        : table_(from),
          who_(options.tokens),
          page_(page_folder(options.page)),
          api_(from, table_, who_, page_),
          server_(server_options(options), [this](const http_request &request) { return api_.answer(request); }) {
        table_.refresh(base::clock_ns(CLOCK_REALTIME));
        pulse_ = std::thread([this] { run(); });
    }
    ~core() {
        {
            const std::lock_guard lock(mutex_);
            is_ending_ = true;
        }
        ending_.notify_all();
        pulse_.join();
    }
    core(const core &) = delete;
    core &operator=(const core &) = delete;

    std::uint16_t port() const { return server_.port(); }

  private:
    void run() {
        std::unique_lock lock(mutex_);
        while (!ending_.wait_for(lock, beat, [this] { return is_ending_; })) {
            table_.refresh(base::clock_ns(CLOCK_REALTIME));
            server_.wake();
        }
    }

    clock_table table_;
    operators who_;
    page_files page_;
    api api_;
    http_server server_;
    std::mutex mutex_;
    std::condition_variable ending_;
    bool is_ending_ = false;
    std::thread pulse_;
};

web::web(const web_options &options, const services &from) : core_(std::make_unique<core>(options, from)) {}

web::~web() = default;

std::uint16_t web::port() const { return core_->port(); }

}  // namespace ptp_fleet
