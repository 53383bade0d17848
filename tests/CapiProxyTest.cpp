// The flat interface against a bus that it runs itself: one text, over each loop and with threaded proxies.
#include "support/RawClient.h"
#include "support/TempDir.h"

#include <tavix/capi.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

using testing::ElementsAre;

namespace {

// An application's own loop: every operation is passed on to another one.
TvxPollLoop* own;
const TvxPollLoopFunctions kTable = {
    [](int fd, void*** source, void*) { return tvx_poll_loop_new_source(own, fd, source); },
    [](void** source) { return tvx_poll_loop_delete_source(own, source); },
    [](void** source, TvxSourceCallback f, void* data) {
        return tvx_poll_loop_add_source(own, source, f, data);
    },
    [](void** source) { return tvx_poll_loop_remove_source(own, source); },
    [](void** source, unsigned watch) { return tvx_poll_loop_source_add_watch(own, source, watch); },
    [](void** source, unsigned watch) { return tvx_poll_loop_source_remove_watch(own, source, watch); },
    [](void** source, int* answer) {
        bool readable = false;
        const int rc = tvx_poll_loop_source_is_readable(own, source, &readable);
        return *answer = readable, rc;
    },
    [](void** source, int* answer) {
        bool writable = false;
        const int rc = tvx_poll_loop_source_is_writable(own, source, &writable);
        return *answer = writable, rc;
    },
    [](void** source) { return tvx_poll_loop_source_get_file_descriptor(own, source); },
    [](void* loop) { tvx_poll_loop_iterate(static_cast<TvxPollLoop*>(loop)); },
    [](void*) { return 0; }};

TvxPollLoop* newTableLoop()
{
    own = own ? own : tvx_select_loop_glue_new();
    return tvx_c_select_loop_new(&kTable, own);
}

// On a thread of its own, until it goes.
class Bus {
public:
    Bus()
    {
        setenv("QZV_RUNTIME_DIR", directory.path().c_str(), 1);
        bus = tvx_bus_new(loop, 65536);
        EXPECT_EQ(0, tvx_poll_loop_new_source(loop, stopFd, &source));
        EXPECT_EQ(stopFd, tvx_poll_loop_source_get_file_descriptor(loop, source));
        for (const unsigned watch : {TVX_READ_WATCH, TVX_WRITE_WATCH})
            EXPECT_EQ(0, tvx_poll_loop_source_add_watch(loop, source, watch));
        EXPECT_EQ(0, tvx_poll_loop_source_remove_watch(loop, source, TVX_WRITE_WATCH));
        auto stop = [](void** source, void* self) {
            Bus& that = *static_cast<Bus*>(self);
            bool writable = true;
            EXPECT_EQ(0, tvx_poll_loop_source_is_writable(that.loop, source, &writable));
            EXPECT_EQ(0, tvx_poll_loop_source_is_readable(that.loop, source, &that.stopped));
            that.wakes += writable ? 2 : 1;
        };
        EXPECT_EQ(0, tvx_poll_loop_add_source(loop, source, stop, this));
        thread = std::thread([this] {
            while (!stopped)
                tvx_poll_loop_iterate(loop);
        });
    }
    ~Bus()
    {
        eventfd_write(stopFd, 1);
        thread.join();
        EXPECT_EQ(1, wakes);
        tvx_bus_free(bus);
        EXPECT_EQ(0, tvx_poll_loop_remove_source(loop, source) | tvx_poll_loop_delete_source(loop, source));
        tvx_poll_loop_free(loop);
        close(stopFd);
    }

private:
    TempDir directory;
    TvxPollLoop* const loop = tvx_epoll_loop_glue_new();
    TvxBus* bus;
    void** source = nullptr;
    const int stopFd = eventfd(0, EFD_NONBLOCK);
    bool stopped = false;
    int wakes = 0;
    std::thread thread;
};

// The user data of every callback. It notes what comes, and then does what a test wants it to do.
struct User {
    static TvxElement* call(TvxProxy*, const char*, const char* word, TvxElement* params, void* user)
    {
        const std::string method = word;
        static_cast<User*>(user)->note(method);
        if (method == "write") {
            const int fd = tvx_elem_int_value(params, nullptr);
            EXPECT_EQ(1, write(fd, "x", 1) + close(fd));
        }
        return method == "fail" ? tvx_exception_elem_new("no luck", 7) : tvx_elem_clone(params);
    }
    static int callAsync(TvxProxy*, const char*, const char* word, TvxElement* params,
                         TvxRespondFunction respond, void* token, void* user)
    {
        const std::string method = word;
        if (method == "at once" || method == "twice" || method == "and declines")
            respond(token, params);
        if (method == "twice")
            respond(token, nullptr);
        if (method == "nothing")
            respond(token, nullptr);
        if (method != "late")
            return method == "at once" || method == "twice" || method == "nothing";
        static_cast<User*>(user)->kept.emplace_back([=](const char* text) {
            TvxElement* result = tvx_string_elem_new(text);
            respond(token, result);
            tvx_elem_free(result);
        });
        static_cast<User*>(user)->note(method);
        return 1;
    }
    static void event(TvxProxy*, const char* objName, const char* event, TvxElement* data, void* user)
    {
        const std::string value = data ? describe(tvx_convert_to_cpp_element(data)) : "nothing";
        static_cast<User*>(user)->note(std::string(objName) + "." + event + " " + value);
    }
    static void response(TvxProxy*, TvxElement* result, void* user)
    {
        static_cast<User*>(user)->note(describe(tvx_convert_to_cpp_element(result)));
    }
    static void object(TvxProxy*, void* user) { static_cast<User*>(user)->note("object"); }
    void note(std::string const& text)
    {
        texts.push_back(text);
        if (act)
            act(text);
        sem_post(&noted);
    }

    User() { sem_init(&noted, 0, 0); }
    std::vector<std::string> texts;
    std::function<void(std::string const&)> act;
    std::vector<std::function<void(const char*)>> kept; // answers to the calls "late"
    sem_t noted;
};

std::string call(TvxProxy* proxy, const char* objName, const char* method, const char* param = "5")
{
    RemoteProxyResult result = PROXY_OK;
    TvxElement* answer = tvx_proxy_call_with_format(proxy, &result, objName, method, "s", param);
    const std::string text = answer ? " " + describe(tvx_convert_to_cpp_element(answer)) : "";
    tvx_elem_free(answer);
    return std::to_string(result) + text;
}

// Parameter: a constructor of loops, null for threaded proxies.
class CapiProxy : public testing::TestWithParam<TvxPollLoop* (*)()> {
protected:
    CapiProxy() { connect(); }
    ~CapiProxy() override
    {
        tvx_proxy_free(caller);
        tvx_proxy_free(owner);
        tvx_poll_loop_free(loop);
    }

    TvxProxy* newProxy() const { return loop ? tvx_proxy_new(loop) : tvx_proxy_threaded_new(); }
    void connect() const
    {
        EXPECT_TRUE(tvx_proxy_connect(owner, nullptr) && tvx_proxy_connect(caller, nullptr));
    }
    void share(User& object, const char* name = "object") const
    {
        EXPECT_EQ(PROXY_OK, tvx_proxy_add_shared_object(owner, name, User::call, &object));
        EXPECT_EQ(PROXY_OK, tvx_proxy_wait_for_object(caller, name));
    }
    // Events are the bus's own: nothing is started for their observers.
    void* observe(User& observer, const char* event = "changed") const
    {
        return tvx_proxy_add_observer(caller, "tvx", event, User::event, &observer);
    }
    void send(int value) const
    {
        TvxElement* data = tvx_integer_elem_new(value);
        EXPECT_EQ(PROXY_OK, tvx_proxy_send_event(caller, "tvx", "changed", data)); // behind its subscriptions
        tvx_elem_free(data);
    }

    std::unique_ptr<Bus> bus{new Bus};
    TvxPollLoop* const loop = GetParam() ? GetParam()() : nullptr;
    TvxProxy* owner = newProxy();
    TvxProxy* caller = newProxy();
    User a, b, c;
};

INSTANTIATE_TEST_SUITE_P(Over, CapiProxy,
                         testing::Values(&tvx_select_loop_glue_new, &tvx_epoll_loop_glue_new,
                                         &tvx_glib_select_loop_new, &newTableLoop, nullptr));

TEST_P(CapiProxy, callsAreAnsweredAtOnceOrLater)
{
    EXPECT_EQ(PROXY_OK, tvx_proxy_on_object_added(caller, "both", User::object, &b));
    EXPECT_EQ(PROXY_OK, tvx_proxy_add_shared_object_full(owner, "both", User::call, User::callAsync, &a));
    EXPECT_EQ(PROXY_OK, tvx_proxy_add_shared_object_async(owner, "async", User::callAsync, &a));
    tvx_proxy_wait(caller, &b.noted);
    EXPECT_EQ(PROXY_OK, tvx_proxy_wait_for_object(caller, "async"));
    const char* const cases[][3] = {{"both", "any", "0 \"5\""},
                                    {"both", "fail", "7 !7 no luck"},
                                    {"both", "at once", "0 \"5\""},
                                    {"both", "twice", "0 \"5\""},
                                    {"both", "and declines", "0 \"5\""},
                                    {"both", "nothing", "10 !-1 No result"},
                                    {"async", "any", "10 !-1 Unknown method"},
                                    {"nobody", "any", "4 !4 Object not found"}};
    for (auto const& [object, method, answer] : cases)
        EXPECT_EQ(answer, call(caller, object, method)) << method;
    int pipes[2];
    char byte = 0;
    EXPECT_EQ(0, pipe(pipes));
    tvx_elem_free(tvx_proxy_call_with_format(caller, nullptr, "both", "write", "f", pipes[1]));
    EXPECT_EQ(1, read(pipes[0], &byte, 1) + close(pipes[0]) + close(pipes[1]));

    User late;
    EXPECT_EQ(PROXY_OK, tvx_proxy_add_shared_object_async(owner, "late", User::callAsync, &late));
    EXPECT_EQ(PROXY_OK, tvx_proxy_wait_for_object(caller, "late"));
    for (TvxResponseCallback callback : {TvxResponseCallback(), &User::response, &User::response}) {
        EXPECT_EQ(PROXY_OK, tvx_proxy_call_method_async(caller, "late", "late", nullptr, callback, &b));
        tvx_proxy_wait(caller, &late.noted);
    }
    std::thread([&] { late.kept[0]("1"), late.kept[1]("2"); }).join();
    tvx_proxy_wait(caller, &b.noted);
    EXPECT_EQ(PROXY_OK, tvx_proxy_remove_shared_object(owner, "late"));
    EXPECT_EQ(PROXY_OBJECT_NOT_FOUND, tvx_proxy_remove_shared_object(owner, "late"));
    tvx_proxy_wait(caller, &b.noted);
    EXPECT_THAT(b.texts, ElementsAre("object", "\"2\"", "!2 Object disappeared"));
    late.kept[2]("3"); // too late

    // The bus has "both" from the owner; a proxy has it from the one who came first.
    for (TvxProxy* proxy : {owner, caller})
        EXPECT_EQ(PROXY_OK, tvx_proxy_add_shared_object_async(proxy, "both", User::callAsync, &late));
    EXPECT_EQ(PROXY_OK, tvx_proxy_remove_shared_object(caller, "both"));
    EXPECT_EQ("7 !7 no luck", call(caller, "both", "fail"));
    EXPECT_EQ(PROXY_OK, tvx_proxy_remove_shared_object(owner, "both"));
    EXPECT_EQ("4 !4 Object not found", call(caller, "both", "any"));
}

TEST_P(CapiProxy, eventsComeUntilTheObserverIsRemoved)
{
    void* const handles[] = {observe(a), observe(b), observe(c, "last")};
    EXPECT_EQ(nullptr, observe(c, std::string(196608, 'x').c_str()));
    send(1);
    tvx_proxy_wait(caller, &b.noted);
    a.act = [&](auto const&) {
        EXPECT_EQ(PROXY_OBSERVER_NOT_FOUND, tvx_proxy_remove_observer(owner, handles[1]));
        EXPECT_EQ(PROXY_OK, tvx_proxy_remove_observer(caller, handles[1]));
        EXPECT_EQ(PROXY_OK, tvx_proxy_remove_observer(caller, handles[0]));
    };
    send(2);
    send(3);
    EXPECT_EQ(PROXY_OK, tvx_proxy_send_event(caller, "tvx", "last", nullptr));
    tvx_proxy_wait(caller, &c.noted);
    EXPECT_THAT(a.texts, ElementsAre("tvx.changed 1", "tvx.changed 2"));
    EXPECT_THAT(b.texts, ElementsAre("tvx.changed 1"));
    EXPECT_THAT(c.texts, ElementsAre("tvx.last nothing"));
}

TEST_P(CapiProxy, withoutAConnectionWhatIsRemovedIsForgotten)
{
    auto lost = std::make_unique<User>();
    void* const observer = observe(*lost);
    share(*lost);
    bus.reset();
    for (TvxProxy* proxy : {owner, caller})
        EXPECT_EQ('2', call(proxy, "object", "any")[0]); // finds the end, if the loop has not
    EXPECT_EQ(nullptr, observe(*lost));
    EXPECT_EQ(PROXY_CONNECTION_ERROR, tvx_proxy_add_shared_object(owner, "new", User::call, lost.get()));
    EXPECT_EQ(PROXY_CONNECTION_ERROR, tvx_proxy_remove_observer(caller, observer));
    EXPECT_EQ(PROXY_CONNECTION_ERROR, tvx_proxy_remove_shared_object(owner, "object"));
    EXPECT_EQ(PROXY_OBJECT_NOT_FOUND, tvx_proxy_remove_shared_object(owner, "object"));
    lost.reset();

    bus.reset(new Bus);
    connect();
    observe(a);
    send(1);
    tvx_proxy_wait(caller, &a.noted);
    share(b);
    EXPECT_EQ("0 \"5\"", call(caller, "object", "any"));
}

TEST_P(CapiProxy, aProxyThatGoesTakesAlongWhatIsLeft)
{
    observe(a);
    EXPECT_EQ(PROXY_OK, tvx_proxy_add_shared_object_async(owner, "object", User::callAsync, &a));
    EXPECT_EQ(PROXY_OK, tvx_proxy_wait_for_object(caller, "object"));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(PROXY_OK,
                  tvx_proxy_call_method_async(caller, "object", "late", nullptr, User::response, &b));
        tvx_proxy_wait(caller, &a.noted);
    }
    tvx_proxy_free(std::exchange(caller, newProxy()));
    EXPECT_EQ(loop ? 0u : 2u, b.texts.size()); // the end of a thread ends its calls
    a.kept[0]("1");
    tvx_proxy_free(std::exchange(owner, newProxy()));
    a.kept[1]("2");
    connect();
    share(b); // nothing of the old one is in its way
    EXPECT_EQ("0 \"5\"", call(caller, "object", "any"));
}

// User data are freed as soon as the callback is removed, on another thread and in the midst of calls.
TEST_P(CapiProxy, aRemovedCallbackRunsNowhere)
{
    std::atomic<bool> done{false};
    std::thread changes([&] {
        for (int i = 0; i < 300; ++i) {
            auto heard = std::make_unique<User>(), served = std::make_unique<User>();
            void* const observer = observe(*heard);
            EXPECT_EQ(PROXY_OK, tvx_proxy_add_shared_object(owner, "object", User::call, served.get()));
            send(i);
            EXPECT_EQ(PROXY_OK, tvx_proxy_remove_observer(caller, observer));
            EXPECT_EQ(PROXY_OK, tvx_proxy_remove_shared_object(owner, "object"));
        }
        done = true;
    });
    while (!done)
        call(caller, "object", "any");
    changes.join();

    // The method is running when another thread removes the object, and ends before that returns.
    std::atomic<bool> removing{false}, ended{false};
    std::thread remover;
    a.act = [&](auto const&) {
        remover = std::thread([&] {
            removing = true;
            EXPECT_EQ(PROXY_OK, tvx_proxy_remove_shared_object(owner, "busy"));
            EXPECT_TRUE(ended);
        });
        for (int i = 0; i < 1000 || !removing; ++i)
            std::this_thread::yield();
        ended = true;
    };
    share(a, "busy");
    call(caller, "busy", "any");
    tvx_proxy_wait(caller, &a.noted);
    remover.join();

    // It removes itself, in a call further up on the stack too.
    b.act = [&](std::string const& method) {
        if (method == "outer")
            call(owner, "tired", "inner");
        else
            EXPECT_EQ(PROXY_OK, tvx_proxy_remove_shared_object(owner, "tired"));
    };
    share(b, "tired");
    EXPECT_EQ("2 !2 Object disappeared", call(caller, "tired", "outer"));
}

// A method on one thread and an observer on another meet, and each removes the other.
TEST(CapiThreads, callbacksThatRemoveEachOtherBothEnd)
{
    const Bus bus;
    TvxProxy* const one = tvx_proxy_threaded_new();
    TvxProxy* const other = tvx_proxy_threaded_new();
    EXPECT_TRUE(tvx_proxy_connect(one, nullptr) && tvx_proxy_connect(other, nullptr));
    std::atomic<int> inside{0};
    auto meet = [&inside] {
        for (++inside; inside < 2;)
            std::this_thread::yield();
    };
    User object, observer;
    void* const handle = tvx_proxy_add_observer(other, "tvx", "changed", User::event, &observer);
    observer.act = [&](auto const&) {
        meet();
        EXPECT_EQ(PROXY_OK, tvx_proxy_remove_shared_object(one, "object"));
    };
    object.act = [&](auto const&) {
        meet();
        EXPECT_EQ(PROXY_OK, tvx_proxy_remove_observer(other, handle));
    };
    EXPECT_EQ(PROXY_OK, tvx_proxy_add_shared_object(one, "object", User::call, &object));
    EXPECT_EQ(PROXY_OK, tvx_proxy_send_event(other, "tvx", "changed", nullptr));
    call(one, "object", "any");
    tvx_proxy_wait(one, &observer.noted);
    tvx_proxy_free(one);
    tvx_proxy_free(other);
}

TEST(CapiThreads, whatACallbackFlushesArrivesWhileItRuns)
{
    const Bus bus;
    TvxProxy* const one = tvx_proxy_threaded_new();
    TvxProxy* const other = tvx_proxy_threaded_new();
    EXPECT_TRUE(tvx_proxy_connect(one, nullptr) && tvx_proxy_connect(other, nullptr));
    User object, observer;
    tvx_proxy_add_observer(other, "tvx", "changed", User::event, &observer);
    object.act = [&](auto const&) {
        EXPECT_EQ(PROXY_OK, tvx_proxy_send_event(one, "tvx", "changed", nullptr));
        tvx_proxy_flush(one);
        sem_wait(&observer.noted);
    };
    EXPECT_EQ(PROXY_OK, tvx_proxy_add_shared_object(one, "object", User::call, &object));
    EXPECT_EQ(PROXY_OK, tvx_proxy_wait_for_object(other, "object")); // behind its subscription
    EXPECT_EQ("0 \"5\"", call(other, "object", "any"));
    tvx_proxy_free(one);
    tvx_proxy_free(other);
}

// In a process of its own: 0 when all holds.
int useTheProcesssProxy(bool threaded)
{
    const Bus bus;
    TvxPollLoop* loop = tvx_select_loop_glue_new();
    bool holds = !tvx_proxy_instance() && !tvx_proxy_is_connected();
    TvxProxy* const made = threaded ? nullptr : tvx_proxy_init(loop);
    tvx_proxy_threaded_init(); // unless there is one
    TvxProxy* const proxy = tvx_proxy_instance();
    holds = holds && proxy && (threaded || made == proxy);
    tvx_proxy_free(proxy); // not the caller's
    holds = holds && tvx_proxy_connect(proxy, nullptr) && tvx_proxy_is_connected();
    tvx_proxy_threaded_kill_main_loop(proxy);
    tvx_poll_loop_free(loop);
    const RemoteProxyResult sent = tvx_proxy_send_event(proxy, "tvx", "changed", nullptr);
    return holds && sent == (threaded ? PROXY_CONNECTION_ERROR : PROXY_OK) ? 0 : 1;
}

TEST(CapiDeathTest, aProcessHasOneProxyOfItsOwn)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(exit(useTheProcesssProxy(false)), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(exit(useTheProcesssProxy(true)), testing::ExitedWithCode(0), "");
    EXPECT_DEATH(tvx_proxy_on_object_added(nullptr, "x", nullptr, nullptr), "`proxy' failed");
}

TEST(CapiProxyRefusals, nameWhatIsMissing)
{
    TvxPollLoop* loop = tvx_select_loop_glue_new();
    TvxProxy* proxy = tvx_proxy_new(loop);
    RemoteProxyResult call, format;
    EXPECT_EQ(nullptr, tvx_proxy_call_method(proxy, nullptr, "method", nullptr, &call));
    EXPECT_EQ(nullptr, tvx_proxy_call_with_format(proxy, &format, "object", "method", "("));
    const RemoteProxyResult results[] = {
        call,
        format,
        tvx_proxy_send_event(nullptr, "o", "e", nullptr),
        tvx_proxy_call_method_async(proxy, "o", nullptr, nullptr, nullptr, nullptr),
        tvx_proxy_add_shared_object(proxy, nullptr, User::call, nullptr),
        tvx_proxy_remove_shared_object(nullptr, "o"),
        tvx_proxy_wait_for_object(proxy, nullptr),
        tvx_proxy_remove_observer(nullptr, loop),
        tvx_proxy_remove_observer(proxy, nullptr)};
    EXPECT_THAT(results, ElementsAre(4, 3, 2, 5, 4, 2, 4, 2, 4));
    EXPECT_STREQ("PROXY_METHOD_NOT_FOUND", tvx_proxy_result_to_string(results[3]));
    EXPECT_STREQ("Unknown error", tvx_proxy_result_to_string(static_cast<RemoteProxyResult>(1)));

    const TvxPollLoopFunctions incomplete = {};
    EXPECT_EQ(nullptr, tvx_c_select_loop_new(&incomplete, nullptr));
    EXPECT_EQ(nullptr, tvx_proxy_new(nullptr));
    EXPECT_EQ(nullptr, tvx_bus_new(nullptr, 0));
    EXPECT_EQ(nullptr, tvx_proxy_add_observer(proxy, "o", "e", nullptr, nullptr));
    EXPECT_EQ(0, tvx_proxy_connect(nullptr, nullptr));
    EXPECT_EQ(-EINVAL, tvx_poll_loop_source_is_readable(loop, nullptr, nullptr));
    tvx_proxy_free(proxy);
    tvx_poll_loop_free(loop);
}

} // namespace
