// Calls "greet" of the object "greeter" and prints the answer, as first_client.cpp does.
#include <tavix/capi.h>

#include <stdio.h>

int main(int argc, char** argv)
{
    TvxPollLoop* loop = tvx_select_loop_glue_new();
    TvxProxy* proxy = tvx_proxy_new(loop);
    RemoteProxyResult result = PROXY_CONNECTION_ERROR;
    if (tvx_proxy_connect(proxy, NULL)) {
        const char* name = argc > 1 ? argv[1] : "world";
        TvxElement* answer = tvx_proxy_call_with_format(proxy, &result, "greeter", "greet", "s", name);
        char text[100] = "";
        tvx_elem_strcpy_value(answer, text, sizeof text, NULL);
        if (result == PROXY_OK)
            puts(text);
        else
            fprintf(stderr, "failed: %s: %s\n", tvx_proxy_result_to_string(result), text);
        tvx_elem_free(answer);
    }
    tvx_proxy_free(proxy);
    tvx_poll_loop_free(loop);
    return result != PROXY_OK;
}
