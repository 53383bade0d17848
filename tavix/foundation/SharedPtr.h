#ifndef TAVIX_FOUNDATION_SHAREDPTR_H
#define TAVIX_FOUNDATION_SHAREDPTR_H

#include <tavix/foundation/AtomicCounter.h>
#include <tavix/foundation/ErrorServer.h>

#include <new>
#include <type_traits>

template <class T>
class SharedPtr;

namespace Ferrule {

// A base of objects that bring the counter of their SharedPtrs along, which spares its block on the heap.
class SelfCounted {
private:
    template <class T>
    friend class ::SharedPtr;

    AtomicCounter _references{1};
};

} // namespace Ferrule

// Shared ownership of one object: the last SharedPtr that goes deletes it. The count may change on any
// thread; one SharedPtr, and the object itself, have no protection. Emptiness is tested through get().
template <class T>
class SharedPtr {
public:
    SharedPtr() : m_count(nullptr), m_ptr(nullptr) {}

    // Takes `object`, which no other SharedPtr may have been made from.
    explicit SharedPtr(T* object) : m_count(nullptr), m_ptr(object)
    {
        if (!object)
            return;
        if constexpr (isSelfCounted<T>())
            m_count = &static_cast<Ferrule::SelfCounted*>(object)->_references;
        else
            m_count = new (std::nothrow) Ferrule::AtomicCounter(1);
        FERRULE_CHECK_FATAL(m_count);
    }

    SharedPtr(SharedPtr const& other) : m_count(other.m_count), m_ptr(other.m_ptr) { share(); }

    SharedPtr(SharedPtr&& other) noexcept : m_count(other.m_count), m_ptr(other.m_ptr) { other.forget(); }

    // From a SharedPtr to a derived class, which is deleted through T.
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    SharedPtr(SharedPtr<U> const& other) : m_count(other.m_count), m_ptr(other.m_ptr)
    {
        checkDeletable<U>();
        share();
    }

    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    SharedPtr(SharedPtr<U>&& other) noexcept : m_count(other.m_count), m_ptr(other.m_ptr)
    {
        checkDeletable<U>();
        other.forget();
    }

    ~SharedPtr() { release(); }

    // The old object goes only after this pointer holds the new one: its destructor may look at this pointer.
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the comparison covers it
    SharedPtr& operator=(SharedPtr const& other)
    {
        if (m_ptr != other.m_ptr)
            SharedPtr(other).swap(*this);
        return *this;
    }

    SharedPtr& operator=(SharedPtr&& other) noexcept
    {
        SharedPtr(static_cast<SharedPtr&&>(other)).swap(*this);
        return *this;
    }

    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    SharedPtr& operator=(SharedPtr<U> const& other)
    {
        return *this = SharedPtr(other);
    }

    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    SharedPtr& operator=(SharedPtr<U>&& other) noexcept
    {
        return *this = SharedPtr(static_cast<SharedPtr<U>&&>(other));
    }

    // An empty pointer ends the process.
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

    // Lends the object, null when empty.
    T* get() const { return m_ptr; }

    void swap(SharedPtr& other) noexcept
    {
        Ferrule::AtomicCounter* const count = m_count;
        T* const object = m_ptr;
        m_count = other.m_count;
        m_ptr = other.m_ptr;
        other.m_count = count;
        other.m_ptr = object;
    }

private:
    template <class U>
    friend class SharedPtr;

    // The type must be complete.
    template <class U>
    static constexpr bool isSelfCounted()
    {
        return std::is_base_of_v<Ferrule::SelfCounted, U>;
    }

    template <class U>
    static void checkDeletable()
    {
        static_assert(isSelfCounted<U>() == isSelfCounted<T>(),
                      "the counter would be deleted, or left behind");
        static_assert(std::is_same_v<std::remove_cv_t<U>, std::remove_cv_t<T>> ||
                          std::has_virtual_destructor_v<T>,
                      "the object would be deleted through a base class without a virtual destructor");
    }

    void share()
    {
        if (m_count)
            ++*m_count;
    }

    void forget()
    {
        m_count = nullptr;
        m_ptr = nullptr;
    }

    // A count of 1 is this pointer's own, so that nobody else can change it: this saves the atomic decrement.
    void release()
    {
        if (m_count && (m_count->get() == 1 || --*m_count == 0))
            destroy();
    }

    void destroy()
    {
        static_assert(alignof(T) != 0, "the type must be complete where its last pointer may go");
        if constexpr (!isSelfCounted<T>())
            delete m_count;
        delete m_ptr;
    }

    Ferrule::AtomicCounter* m_count;
    T* m_ptr;
};

#endif
