// Makes each hot call of the library a number of times between two dumps of callgrind, named after the call.
#include <cstdio>
#include <string>
#include <vector>

#include "instructions/count.h"
#include "records/messages.h"
#include "records/older_clock.h"
#include "records/xml.h"

namespace bench {
namespace {

/** A record of type R, and the codec calls on handles of one kind. */
template <class R>
class record_calls {
  public:
    record_calls(std::string name, vela_handle *sender, vela_handle *receiver)
        : name_(std::move(name)),
          sender_(sender),
          receiver_(receiver),
          record_(make_example<R>(sender)),
          received_(R::create(receiver, mem_class)) {}

    void count_codec() {
        count(name_ + " marshal", [this] {
            length_ = R::marshal(sender_, mem_class, bytes_.data(), record_, static_cast<int32>(bytes_.size()), &err_);
        });
        count(name_ + " unmarshal", [this] {
            R::unmarshal(receiver_, mem_class, bytes_.data(), received_, static_cast<int32>(length_), 0, &err_);
        });
        require(err_ == 0, "count " + name_);
    }

    void count_instance() {
        count(name_ + " read", [this] { R::read(receiver_, received_, &err_); });
        count(name_ + " create and destroy", [this] { R::destroy(sender_, mem_class, R::create(sender_, mem_class)); });
        count(name_ + " clone and destroy", [this] { R::destroy(sender_, mem_class, R::clone(sender_, record_)); });
        count(name_ + " compare", [this] { require(R::compare(record_, received_) == 0, "compare"); });
        count(name_ + " hash", [this] { hash_ = R::hash(record_, hash_); });
        require(err_ == 0, "count " + name_);
    }

    void count_text() {
        std::string text(R::text_room, ' ');
        count(name_ + " print", [&] {
            R::print(sender_, mem_class, text.data(), 0, "", record_, static_cast<u_int32>(text.size()), &err_);
        });
        require(err_ == 0, "count " + name_);
    }

  private:
    std::string name_;
    vela_handle *sender_;
    vela_handle *receiver_;
    typename R::instance *record_;
    typename R::instance *received_;
    std::vector<u_int8> bytes_ = std::vector<u_int8>(2 * R::width);
    u_int32 length_ = 0;
    u_int32 hash_ = 0;
    u_int32 err_ = 0;
};

template <class R>
void count_record(const std::string &name) {
    record_calls<R> calls(name, make_handle(), make_handle());
    calls.count_codec();
    calls.count_instance();
}

void count_clock_variations() {
    record_calls<clock_record<>>("clock", make_handle(), make_handle()).count_text();
    record_calls<clock_record<>>("clock on the reference path", make_reference_path_handle(),
                                 make_reference_path_handle())
        .count_codec();
    using older = older_clock_record<>;
    record_calls<older>("clock of an older peer", older::make_handle(), older::make_handle()).count_codec();
    record_calls<clock_record<>>("tracked clock", make_tracking_handle(), make_tracking_handle()).count_codec();
}

void count_xml() {
    xml_fixture<clock_record<>> xml;
    count("clock to XML", [&] { xml.render(); });
    count("clock from XML", [&] { xml.parse(xml.text); });
    require(xml.err == 0, "count XML");
}

void count_fields() {
    vela_handle *handle = make_handle();
    ptp_clock *clock = make_example<clock_record<>>(handle);
    u_int32 err = 0;
    u_int64 number = 0;
    count("number set", [&] { ptp_clock_clock_handle_set_value(handle, mem_class, clock, number, &err); });
    count("number get", [&] { number += ptp_clock_clock_handle_get_value(handle, mem_class, clock, &err); });
    count("enumeration set", [&] { ptp_clock_clk_mode_set_value(handle, mem_class, clock, 5, &err); });
    count("enumeration get", [&] { number += ptp_clock_clk_mode_get_value(handle, mem_class, clock, &err); });
    require(err == 0, "count fields");
}

void count_messages() {
    vela_handle *handle = make_handle();
    ptp_clock_cfg_message *message = make_clock_message(handle);
    u_int8 bytes[clock_message_width];
    receipt got;
    u_int32 err = 0;
    count("clock message marshal",
          [&] { ptp_clock_cfg_message_marshal(handle, mem_class, bytes, message, sizeof bytes, &err); });
    count("clock message to its handler",
          [&] { ptp_cfg_dispatch(handle, mem_class, &got, nullptr, nullptr, bytes, sizeof bytes, &err); });
    require(err == 0 && got.messages == repetitions + 1, "count messages");
}

}  // namespace
}  // namespace bench

int main() {
    std::printf("%u\n", bench::repetitions);
    bench::count_record<bench::clock_record<>>("clock");
    bench::count_record<bench::stream_statistics<>>("statistics");
    bench::count_record<bench::stream_list<>>("list");
    bench::count_clock_variations();
    bench::count_xml();
    bench::count_fields();
    bench::count_messages();
    bench::count_inline_forms();
}
