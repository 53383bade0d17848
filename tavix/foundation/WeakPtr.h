#ifndef TAVIX_FOUNDATION_WEAKPTR_H
#define TAVIX_FOUNDATION_WEAKPTR_H

#include <tavix/foundation/ErrorServer.h>
#include <tavix/foundation/SharedPtr.h>

#include <type_traits>

// Lends an object: a bare pointer that counts nothing. The object must outlive it.
template <class T>
class WeakPtr {
public:
    WeakPtr() : m_ptr(nullptr) {}
    WeakPtr(T* object) : m_ptr(object) {}

    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    WeakPtr(SharedPtr<U> const& object) : m_ptr(object.get())
    {
    }

    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    WeakPtr(WeakPtr<U> const& other) : m_ptr(other.get())
    {
    }

    // A null pointer ends the process.
    T* operator->() const
    {
        FERRULE_CHECK_FATAL(m_ptr);
        return m_ptr;
    }

    T& operator*() const
    {
        FERRULE_CHECK_FATAL(m_ptr);
        return *m_ptr;
    }

    T* get() const { return m_ptr; }

private:
    T* m_ptr;
};

#endif
