// The calls that answer a result, as calls that answer its value and throw ptp::failure where there is none.
#ifndef PTP_CFG_CPP_THROWING_HPP
#define PTP_CFG_CPP_THROWING_HPP

#include "ptp_cfg/cpp/formats.hpp"
#include "ptp_cfg/cpp/receive.hpp"

namespace ptp {
namespace throwing {

inline handle make_handle(const vela_handle_options *options = nullptr) { return handle::create(options).value(); }

template <class T>
T create(vela_handle *handle) {
    return ptp::create<T>(handle).value();
}
template <class T>
auto clone(const T &value) {
    return value.clone().value();
}
template <class T>
T decode(vela_handle *handle, span<const u_int8> bytes, u_int32 *consumed = nullptr) {
    return ptp::decode<T>(handle, bytes, consumed).value();
}
template <class T>
span<u_int8> encode(const T &value, span<u_int8> room) {
    return ptp::encode(value, room).value();
}
template <class T>
std::vector<u_int8> to_bytes(const T &value) {
    return ptp::to_bytes(value).value();
}
template <class T>
std::string to_json(const T &value, u_int32 indent = 0, u_int32 rules = 0) {
    return ptp::to_json(value, indent, rules).value();
}
template <class T>
T from_json(vela_handle *handle, std::string_view text, u_int32 rules = 0) {
    return ptp::from_json<T>(handle, text, rules).value();
}
template <class T>
std::string to_xml(const T &value) {
    return ptp::to_xml(value).value();
}
template <class T>
T from_xml(vela_handle *handle, std::string_view text, u_int32 rules = VELA_XML_STRICT) {
    return ptp::from_xml<T>(handle, text, rules).value();
}
template <class T>
std::string to_text(const T &value) {
    return ptp::to_text(value).value();
}
template <class E>
E parse(std::string_view literal) {
    return ptp::parse<E>(literal).value();
}
inline any_message receive(vela_handle *handle, span<const u_int8> bytes, u_int32 *consumed = nullptr) {
    return ptp::receive(handle, bytes, consumed).value();
}
template <class... Functions>
report dispatch(vela_handle *handle, span<const u_int8> bytes, Functions &&...functions) {
    return ptp::dispatch(handle, bytes, std::forward<Functions>(functions)...).value();
}

}  // namespace throwing
}  // namespace ptp

#endif
