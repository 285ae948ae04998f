#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

namespace Lumen {

template <class T> class WeakPtr;

// Counted handle to a framework object. The count is atomic, so handles may be
// copied and released on several threads at once.
//
// Converting from a handle of another type is a checked lookup: towards a base
// it always succeeds, towards anything else the object is "taken as T" and the
// handle is empty when the object is not a T.
template <class T>
class CountedPtr {
public:
    using element_type = T;

    CountedPtr() = default;
    CountedPtr(std::nullptr_t) {}
    CountedPtr(std::shared_ptr<T> object) : object_(std::move(object)) {}

    template <class U>
        requires(!std::is_same_v<U, T>)
    CountedPtr(CountedPtr<U> const& other) : object_(cast(other.shared())) {}

    T* operator->() const { return object_.get(); }
    T& operator*() const { return *object_; }
    T* getPointer() const { return object_.get(); }
    explicit operator bool() const { return object_ != nullptr; }
    bool valid() const { return object_ != nullptr; }
    void reset() { object_.reset(); }

    std::shared_ptr<T> const& shared() const { return object_; }

    template <class U>
    friend bool operator==(CountedPtr const& a, CountedPtr<U> const& b) {
        return a.getPointer() == b.getPointer();
    }
    friend bool operator==(CountedPtr const& a, std::nullptr_t) { return !a; }

private:
    template <class U>
    static std::shared_ptr<T> cast(std::shared_ptr<U> const& from) {
        if constexpr (std::is_convertible_v<U*, T*>) {
            return from;
        } else {
            return std::dynamic_pointer_cast<T>(from);
        }
    }

    std::shared_ptr<T> object_;
};

// The host spells some handles with the interface that carries the count as a
// second argument. Here every object is counted through its own control block,
// so both spellings name one and the same handle type.
template <class T, class CountedBase = T>
using StrongPtr = CountedPtr<T>;

template <class T, class... Args>
StrongPtr<T> makeStrong(Args&&... args) {
    return StrongPtr<T>(std::make_shared<T>(std::forward<Args>(args)...));
}

// Non-owning handle; expires when the last counted handle goes away.
template <class T>
class WeakPtr {
public:
    WeakPtr() = default;
    template <class U>
    WeakPtr(CountedPtr<U> const& strong) : object_(CountedPtr<T>(strong).shared()) {}

    bool expired() const { return object_.expired(); }
    CountedPtr<T> lock() const { return CountedPtr<T>(object_.lock()); }

private:
    std::weak_ptr<T> object_;
};

} // namespace Lumen
