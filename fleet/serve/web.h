// Shows what a collector knows over HTTP, and takes commands.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "services.h"

namespace ptp_fleet {

struct web_options {
    std::string listen = "127.0.0.1:8080";  // ADDRESS:PORT or [ADDRESS]:PORT; port 0: one that is free
    std::string page;                       // folder with the page's files; empty: the installed one, if there is one
    std::string tokens;                     // file with who may act; empty: nobody
    std::string certificate, key;           // PEM files; empty: no TLS
};

/** Serves, by threads of its own, from when it is made until it is destroyed. */
class web {
  public:
    /** Throws std::runtime_error, which says what is wrong with the options. */
    web(const web_options &options, const services &from);
    ~web();
    web(const web &) = delete;
    web &operator=(const web &) = delete;

    std::uint16_t port() const;

  private:
    class core;
    std::unique_ptr<core> core_;
};

}  // namespace ptp_fleet
