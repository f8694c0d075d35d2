#pragma once

#include <QtCore/QHashFunctions>

#include <cstddef>
#include <type_traits>
#include <utility>

/**
 * A reference that keeps a managed object in memory. An object without references and unsaved changes is destroyed; its
 * context makes a new one when needed. Copy and use references on the context's thread only.
 */
template <class T>
class VXObjectRef
{
public:
    VXObjectRef() = default;
    VXObjectRef(std::nullptr_t) {}
    explicit VXObjectRef(T *object) : _object(object) { retain(); }
    VXObjectRef(const VXObjectRef &other) : _object(other._object) { retain(); }
    VXObjectRef(VXObjectRef &&other) noexcept : _object(std::exchange(other._object, nullptr)) {}
    template <class U>
    requires std::is_convertible_v<U *, T *> VXObjectRef(const VXObjectRef<U> &other) : VXObjectRef(other.get()) {}
    ~VXObjectRef() { release(); }
    VXObjectRef &operator=(VXObjectRef other) noexcept
    {
        std::swap(_object, other._object);
        return *this;
    }

    T *get() const { return _object; }
    T &operator*() const { return *_object; }
    T *operator->() const { return _object; }
    explicit operator bool() const { return _object != nullptr; }
    friend bool operator==(const VXObjectRef &a, const VXObjectRef &b) { return a._object == b._object; }
    friend size_t qHash(const VXObjectRef &ref, size_t seed = 0) noexcept { return ::qHash(ref._object, seed); }

private:
    void retain()
    {
        if (_object != nullptr)
            _object->retain();
    }
    void release()
    {
        if (_object != nullptr)
            std::exchange(_object, nullptr)->release();
    }

    T *_object = nullptr;
};
