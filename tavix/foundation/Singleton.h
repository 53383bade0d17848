#ifndef TAVIX_FOUNDATION_SINGLETON_H
#define TAVIX_FOUNDATION_SINGLETON_H

#include <tavix/foundation/Export.h>

#include <atomic>
#include <mutex>
#include <new>

namespace Ferrule {

// What all singletons share: the lock under which they are made.
class TAVIX_API SingletonBase {
protected:
    static std::mutex _mutex;
};

// The one instance of T in the process, made on first use on any thread. Exported, so that the library and
// the programs that use it see the same one; T must be exported too. T's constructor must not use a
// Singleton.
template <class T>
class TAVIX_API Singleton : private SingletonBase {
public:
    // Lends the instance, which lives until the process ends. Null when no memory is left.
    static T* instance()
    {
        T* const object = _holder.instance.load(std::memory_order_acquire);
        return object ? object : make();
    }

private:
    struct Holder {
        constexpr Holder() = default;
        ~Holder() { delete instance.exchange(nullptr); }
        std::atomic<T*> instance{nullptr};
    };

    static T* make()
    {
        std::lock_guard<std::mutex> guard(_mutex);
        T* object = _holder.instance.load(std::memory_order_relaxed);
        if (!object) {
            object = new (std::nothrow) T();
            _holder.instance.store(object, std::memory_order_release);
        }
        return object;
    }

    static Holder _holder;
};

template <class T>
typename Singleton<T>::Holder Singleton<T>::_holder;

} // namespace Ferrule

#endif
