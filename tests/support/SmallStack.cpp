#include "support/SmallStack.h"

#include <gtest/gtest.h>
#include <pthread.h>

void onSmallStack(void (*work)(), std::size_t size)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, size);
    pthread_t thread;
    auto const run = [](void* argument) -> void* {
        reinterpret_cast<void (*)()>(argument)();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, reinterpret_cast<void*>(work)), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}
