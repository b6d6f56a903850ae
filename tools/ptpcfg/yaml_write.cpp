// JSON as YAML: blocks by indentation, names and literals without quotes.
#include <yaml-cpp/emitter.h>
#include <yaml-cpp/emittermanip.h>

#include <nlohmann/json.hpp>

#include "yaml_document.h"
#include "yaml_scalars.h"

namespace ptpcfg {
namespace {

class emitting : public nlohmann::json_sax<nlohmann::json> {
  public:
    std::string text() const { return out_.c_str(); }

    bool null() override { return put(YAML::Null); }
    bool boolean(bool value) override { return put(value); }
    bool number_integer(number_integer_t value) override { return put(value); }
    bool number_unsigned(number_unsigned_t value) override { return put(value); }
    bool number_float(number_float_t, const string_t &digits) override { return put(digits); }
    bool string(string_t &value) override {
        if (!may_stand_plain(value)) {
            out_ << YAML::DoubleQuoted;
        }
        return put(value);
    }
    bool binary(binary_t &) override { return false; }
    bool key(string_t &name) override {
        out_ << YAML::Key;
        string(name);
        return put(YAML::Value);
    }
    bool start_object(std::size_t) override { return put(YAML::BeginMap); }
    bool end_object() override { return put(YAML::EndMap); }
    bool start_array(std::size_t) override { return put(YAML::BeginSeq); }
    bool end_array() override { return put(YAML::EndSeq); }
    bool parse_error(std::size_t, const std::string &, const nlohmann::detail::exception &) override { return false; }

  private:
    template <class T>
    bool put(const T &value) {
        out_ << value;
        return true;
    }

    YAML::Emitter out_;
};

}  // namespace

std::string yaml_of_json(std::string_view json) {
    emitting handler;
    nlohmann::json::sax_parse(json, &handler);
    return handler.text() + "\n";
}

}  // namespace ptpcfg
