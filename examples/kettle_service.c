// Publishes the object "kettle" until SIGTERM, SIGINT or the end of the bus:
//
//   state       answers {"degrees": a double, "heating": a boolean}
//   boil        to how many degrees (a number, 100 for none); answers when it is that hot, with the degrees
//   switchOff   stops heating; who waits for "boil" gets an exception
//
// and sends the event "temperature", the degrees as a double, at every degree while it heats.
#define _POSIX_C_SOURCE 200809L

#include <tavix/capi.h>

#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

// Codes from 1 to 9 would reach callers as a RemoteProxyResult, which says something else.
enum { FAILURE = 100 };

// A call of "boil" that is not answered yet.
typedef struct Boiling {
    struct Boiling* next;
    TvxRespondFunction respond;
    void* token;
    double target;
} Boiling;

typedef struct Kettle {
    TvxProxy* proxy;
    double degrees;
    Boiling* calls;
    int timer;
    int signals;
    bool stopped;
} Kettle;

// Answers a call, once, and releases the answer.
static void answer(TvxRespondFunction respond, void* token, TvxElement* result)
{
    respond(token, result);
    tvx_elem_free(result);
}

// Answers the calls that wait for no more than this temperature; all, with an exception, when `failure` is set.
static void answer_calls(Kettle* kettle, const char* failure)
{
    Boiling** place = &kettle->calls;
    while (*place != NULL) {
        Boiling* call = *place;
        if (failure == NULL && call->target > kettle->degrees) {
            place = &call->next;
            continue;
        }
        *place = call->next;
        answer(call->respond, call->token,
               failure ? tvx_exception_elem_new(failure, FAILURE) : tvx_double_elem_new(kettle->degrees));
        free(call);
    }
}

// A tick every tenth of a second, or none.
static void heat(Kettle* kettle, bool on)
{
    struct itimerspec every = {{0, 0}, {0, 0}};
    if (on)
        every.it_value.tv_nsec = every.it_interval.tv_nsec = 100 * 1000 * 1000;
    timerfd_settime(kettle->timer, 0, &every, NULL);
}

// Answers who has waited long enough, and stops heating when that is everybody.
static void settle(Kettle* kettle)
{
    answer_calls(kettle, NULL);
    if (kettle->calls == NULL)
        heat(kettle, false);
}

static void on_tick(void** source, void* context)
{
    Kettle* kettle = context;
    TvxElement* degrees;
    uint64_t ticks;
    (void)source;
    if (read(kettle->timer, &ticks, sizeof ticks) != sizeof ticks)
        return; // switched off in between
    kettle->degrees += 1;
    degrees = tvx_double_elem_new(kettle->degrees);
    tvx_proxy_send_event(kettle->proxy, "kettle", "temperature", degrees);
    tvx_elem_free(degrees);
    settle(kettle);
}

static void on_signal(void** source, void* context)
{
    Kettle* kettle = context;
    struct signalfd_siginfo info;
    (void)source;
    kettle->stopped = read(kettle->signals, &info, sizeof info) == sizeof info;
}

// Takes the call if it can be done; answers the text of the refusal if not.
static const char* boil(Kettle* kettle, TvxElement* params, TvxRespondFunction respond, void* token)
{
    TvxResult code = OPERATION_OK;
    const double target =
        tvx_elem_instance_of(params, "NullElem") ? 100 : tvx_elem_double_value(params, &code);
    Boiling* call;
    if (code != OPERATION_OK || !(target <= 100))
        return "boil takes a number of degrees up to 100";
    call = malloc(sizeof *call);
    if (call == NULL)
        return "out of memory";
    if (kettle->calls == NULL)
        heat(kettle, true);
    call->next = kettle->calls;
    call->respond = respond;
    call->token = token;
    call->target = target;
    kettle->calls = call;
    settle(kettle); // it may be that hot already
    return NULL;
}

// Asked first. "boil" is answered later; other calls are left to call_method.
static int call_method_async(TvxProxy* proxy, const char* object, const char* method, TvxElement* params,
                             TvxRespondFunction respond, void* token, void* user_data)
{
    const char* refusal;
    (void)proxy, (void)object;
    if (strcmp(method, "boil") != 0)
        return 0;
    refusal = boil(user_data, params, respond, token);
    if (refusal != NULL)
        answer(respond, token, tvx_exception_elem_new(refusal, FAILURE));
    return 1;
}

static TvxElement* call_method(TvxProxy* proxy, const char* object, const char* method, TvxElement* params,
                               void* user_data)
{
    Kettle* kettle = user_data;
    (void)proxy, (void)params;
    if (strcmp(method, "state") == 0)
        return tvx_elem_new("{db}", "degrees", kettle->degrees, "heating", kettle->calls != NULL);
    if (strcmp(method, "switchOff") == 0) {
        answer_calls(kettle, "switched off");
        heat(kettle, false);
        return tvx_null_elem_new();
    }
    return tvx_exception_elem_newf(FAILURE, "%s has no method %s", object, method);
}

// Puts a descriptor on the loop. Answers its source, or null.
static void** watch(TvxPollLoop* loop, int fd, TvxSourceCallback callback, Kettle* kettle)
{
    void** source = NULL;
    if (tvx_poll_loop_new_source(loop, fd, &source) != 0)
        return NULL;
    if (tvx_poll_loop_source_add_watch(loop, source, TVX_READ_WATCH) == 0 &&
        tvx_poll_loop_add_source(loop, source, callback, kettle) == 0)
        return source;
    tvx_poll_loop_delete_source(loop, source);
    return NULL;
}

static void unwatch(TvxPollLoop* loop, void** source, int fd)
{
    if (source != NULL) {
        tvx_poll_loop_remove_source(loop, source);
        tvx_poll_loop_delete_source(loop, source);
    }
    close(fd);
}

// Blocks the signals that end the service, and makes them readable.
static int open_signals(void)
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigprocmask(SIG_BLOCK, &set, NULL);
    return signalfd(-1, &set, SFD_CLOEXEC);
}

// The process's proxy tells whether it is connected, and is freed with the process.
static int serve(TvxPollLoop* loop, Kettle* kettle)
{
    kettle->proxy = tvx_proxy_init(loop);
    if (!tvx_proxy_connect(kettle->proxy, NULL) ||
        tvx_proxy_add_shared_object_full(kettle->proxy, "kettle", call_method, call_method_async, kettle) !=
            PROXY_OK) {
        fputs("kettle_service: no bus\n", stderr);
        return 1;
    }
    puts("kettle_service: serving \"kettle\"");
    fflush(stdout);
    while (!kettle->stopped && tvx_proxy_is_connected())
        tvx_poll_loop_iterate(loop);
    answer_calls(kettle, "the service is ending");
    tvx_proxy_remove_shared_object(kettle->proxy, "kettle");
    return 0;
}

int main(void)
{
    TvxPollLoop* loop = tvx_epoll_loop_glue_new();
    Kettle kettle = {NULL, 20, NULL, -1, -1, false};
    void **ticks, **stop;
    int status = 1;
    kettle.signals = open_signals();
    kettle.timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    stop = watch(loop, kettle.signals, on_signal, &kettle);
    ticks = watch(loop, kettle.timer, on_tick, &kettle);
    if (stop != NULL && ticks != NULL)
        status = serve(loop, &kettle);
    else
        fputs("kettle_service: no timer or no signals\n", stderr);
    unwatch(loop, ticks, kettle.timer);
    unwatch(loop, stop, kettle.signals);
    tvx_poll_loop_free(loop);
    return status;
}
