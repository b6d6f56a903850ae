// The owner of a handle.
#ifndef PTP_CFG_CPP_HANDLE_HPP
#define PTP_CFG_CPP_HANDLE_HPP

#include "ptp_cfg/cpp/result.hpp"

namespace ptp {

/**
 * Owns a handle, which belongs to one thread at a time. What was made on it must be gone before it is destroyed. It
 * stands for a vela_handle * wherever one is wanted; one that a C program made will do as well.
 */
class handle {
  public:
    static result<handle> create(const vela_handle_options *options = nullptr) {
        u_int32 err = VELA_OK;
        vela_handle *made = vela_handle_create(options, &err);
        if (made == nullptr) {
            return error{err, nullptr};
        }
        return handle(made);
    }
    /** Takes over a handle that vela_handle_create() made. */
    explicit handle(vela_handle *made) noexcept : handle_(made) {}
    handle(handle &&other) noexcept : handle_(other.release()) {}
    handle &operator=(handle &&other) noexcept {
        vela_handle *taken = other.release();
        vela_handle_destroy(handle_, nullptr);
        handle_ = taken;
        return *this;
    }
    ~handle() { vela_handle_destroy(handle_, nullptr); }

    operator vela_handle *() const &noexcept { return handle_; }
    operator vela_handle *() const && = delete;
    vela_handle *operator->() const noexcept { return handle_; }
    vela_handle *release() noexcept {
        vela_handle *given = handle_;
        handle_ = nullptr;
        return given;
    }
    /** The class of memory that everything on this handle is made and freed under: choose it before the first. */
    void set_memory_class(u_int32 mem_class) noexcept { handle_->chained_mem_class = mem_class; }
    /** The error of a setter that nobody looked at. It is forgotten. */
    status take_error() noexcept {
        const u_int32 code = handle_->chained_err;
        handle_->chained_err = VELA_OK;
        return {handle_, code};
    }

  private:
    vela_handle *handle_;
};

}  // namespace ptp

#endif
