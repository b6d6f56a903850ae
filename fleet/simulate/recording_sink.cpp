// Writes a recording, one record a report.
#include <stdexcept>

#include "sinks.h"
#include "vela_recorder.h"

namespace ptp_fleet {
namespace {

class recording : public report_sink {
  public:
    explicit recording(const std::string &file) {
        vela_recorder_options options = {};
        options.size = sizeof options;
        options.max_file_bytes = u_int64{1} << 40;
        options.files = 1;
        char text[256] = "";
        u_int32 err = 0;
        recorder_.reset(vela_recorder_open(file.c_str(), &options, text, sizeof text, &err));
        if (recorder_ == nullptr) {
            throw std::runtime_error(file + ": " + text);
        }
    }

    void take(const report &one, std::uint64_t time_ns) override {
        u_int32 err = 0;
        vela_recorder_append(recorder_.get(), time_ns, one.element, one.bytes.data(),
                             static_cast<u_int32>(one.bytes.size()), &err);
        if (err != 0) {
            throw std::runtime_error("the recording takes no more: error " + std::to_string(err));
        }
    }

    void finish() override {}

  private:
    struct close {
        void operator()(vela_recorder *each) const { vela_recorder_close(each, nullptr); }
    };
    std::unique_ptr<vela_recorder, close> recorder_;
};

}  // namespace

std::unique_ptr<report_sink> make_recording(const std::string &file) { return std::make_unique<recording>(file); }

}  // namespace ptp_fleet
