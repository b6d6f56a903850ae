// Values that lie side by side, lent: std::span for C++17.
#ifndef PTP_CFG_CPP_SPAN_HPP
#define PTP_CFG_CPP_SPAN_HPP

#include <cstddef>
#include <type_traits>
#include <utility>

namespace ptp {

/** Some values that lie side by side, lent. std::span of C++20 takes one where it is wanted. */
template <class T>
class span {
  public:
    using element_type = T;
    using value_type = std::remove_cv_t<T>;
    using size_type = std::size_t;
    using iterator = T *;

    constexpr span() noexcept : data_(nullptr), size_(0) {}
    constexpr span(T *data, std::size_t size) noexcept : data_(data), size_(size) {}
    template <std::size_t N>
    constexpr span(T (&values)[N]) noexcept : data_(values), size_(N) {}
    /** Of a container that outlives it. */
    template <class Container, class = decltype(std::declval<Container &>().size()),
              class = std::enable_if_t<std::is_convertible<decltype(std::declval<Container &>().data()), T *>::value &&
                                       (std::is_lvalue_reference<Container>::value || std::is_const<T>::value)>>
    constexpr span(Container &&values) noexcept : data_(values.data()), size_(values.size()) {}

    constexpr T *data() const noexcept { return data_; }
    constexpr std::size_t size() const noexcept { return size_; }
    constexpr bool empty() const noexcept { return size_ == 0; }
    constexpr T &operator[](std::size_t index) const { return data_[index]; }
    constexpr T *begin() const noexcept { return data_; }
    constexpr T *end() const noexcept { return data_ + size_; }
    constexpr span first(std::size_t count) const { return {data_, count}; }

  private:
    T *data_;
    std::size_t size_;
};

}  // namespace ptp

#endif
