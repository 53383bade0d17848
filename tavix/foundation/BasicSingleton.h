#ifndef TAVIX_FOUNDATION_BASICSINGLETON_H
#define TAVIX_FOUNDATION_BASICSINGLETON_H

#include <tavix/foundation/Check.h>
#include <tavix/foundation/Export.h>

namespace Ferrule {

// The one instance of T in the process, set once at start-up, before other threads ask for it. Exported, so
// that the library and the programs that use it see the same one; T must be exported too.
template <class T>
class TAVIX_API BasicSingleton {
public:
    // Takes `object`, and deletes it when the process ends. A second call stops the process.
    static void init(T* object)
    {
        TAVIX_CHECK(!_holder.instance, "!_holder.instance");
        _holder.instance = object;
    }

    // Lends the instance, null before init().
    static T* instance() { return _holder.instance; }

private:
    struct Holder {
        constexpr Holder() = default;
        ~Holder()
        {
            T* const object = instance;
            instance = nullptr;
            delete object;
        }
        T* instance = nullptr;
    };

    static Holder _holder;
};

template <class T>
typename BasicSingleton<T>::Holder BasicSingleton<T>::_holder;

} // namespace Ferrule

#endif
