// Boils the kettle that kettle_service serves, and prints how warm it gets.
//   kettle_client [DEGREES]
#include <tavix/capi.h>

#include <stdio.h>
#include <stdlib.h>

// What the answer of the asynchronous call leaves behind.
typedef struct Boil {
    bool answered;
    bool succeeded;
} Boil;

static void print_text(const char* before, TvxElement* value)
{
    char* text = tvx_elem_strdup_value(value, NULL);
    printf("%s%s\n", before, text ? text : "(out of memory)");
    free(text);
}

// The result of a call, or the text of the exception that came in its place.
static void print_answer(RemoteProxyResult result, TvxElement* answer)
{
    TvxIterator* child;
    if (result != PROXY_OK) {
        printf("  %s", tvx_proxy_result_to_string(result));
        print_text(": ", answer);
        return;
    }
    child = tvx_iterator_new(answer); // null for what is no list and no map
    if (child == NULL)
        print_text("  ", answer);
    for (; !tvx_iterator_last(child); tvx_iterator_next(child)) {
        const char* name = tvx_iterator_deref(child);
        printf("  %s", name);
        print_text(": ", tvx_map_elem_get_child(answer, name));
    }
    tvx_iterator_free(child);
}

static RemoteProxyResult print_state(TvxProxy* proxy)
{
    RemoteProxyResult result;
    TvxElement* state = tvx_proxy_call_method(proxy, "kettle", "state", NULL, &result);
    puts("state");
    print_answer(result, state);
    tvx_elem_free(state);
    return result;
}

static void on_temperature(TvxProxy* proxy, const char* object, const char* event, TvxElement* degrees,
                           void* user_data)
{
    (void)proxy, (void)user_data;
    printf("  %s.%s %.0f\n", object, event, tvx_elem_double_value(degrees, NULL));
}

static void on_boiled(TvxProxy* proxy, TvxElement* result, void* user_data)
{
    Boil* boil = user_data;
    (void)proxy;
    boil->answered = true;
    boil->succeeded = !tvx_elem_is_exception(result);
    print_text("  boil: ", result);
}

// Asks for boiling water and observes the kettle until the answer is there.
static bool observe_boiling(TvxPollLoop* loop, TvxProxy* proxy, double degrees)
{
    Boil boil = {false, false};
    TvxElement* target = tvx_elem_new("d", degrees);
    void* observer = tvx_proxy_add_observer(proxy, "kettle", "temperature", on_temperature, NULL);
    RemoteProxyResult result = tvx_proxy_call_method_async(proxy, "kettle", "boil", target, on_boiled, &boil);
    tvx_elem_free(target);
    printf("boil to %.0f degrees\n", degrees);
    while (result == PROXY_OK && !boil.answered)
        tvx_poll_loop_iterate(loop); // events and the answer come here
    tvx_proxy_remove_observer(proxy, observer);
    return boil.succeeded;
}

// A call whose answer is an exception.
static RemoteProxyResult overheat(TvxProxy* proxy)
{
    RemoteProxyResult result;
    TvxElement* answer = tvx_proxy_call_with_format(proxy, &result, "kettle", "boil", "i", 200);
    puts("boil to 200 degrees");
    print_answer(result, answer);
    tvx_elem_free(answer);
    return result;
}

int main(int argc, char** argv)
{
    TvxPollLoop* loop = tvx_select_loop_glue_new();
    TvxProxy* proxy = tvx_proxy_new(loop);
    bool done = tvx_proxy_connect(proxy, NULL) && print_state(proxy) == PROXY_OK &&
                observe_boiling(loop, proxy, argc > 1 ? atof(argv[1]) : 30) &&
                overheat(proxy) == PROXY_EXCEPTION;
    tvx_proxy_free(proxy);
    tvx_poll_loop_free(loop);
    return !done;
}
