#include <tavix/capi.h>

#include <gtest/gtest.h>

namespace {

TEST(CapiProxy, ACallThatCannotBeMadeSaysWhy)
{
    TvxPollLoop* loop = tvx_select_loop_glue_new();
    TvxProxy* proxy = tvx_proxy_new(loop);
    tvx_poll_loop_free(loop); // the proxy has a share of its own
    RemoteProxyResult result = PROXY_OK;
    EXPECT_EQ(tvx_proxy_call_with_format(proxy, &result, "object", "method", "i", 1), nullptr);
    EXPECT_EQ(result, PROXY_CONNECTION_ERROR);
    EXPECT_EQ(tvx_proxy_call_with_format(proxy, &result, "object", "method", "("), nullptr);
    EXPECT_EQ(result, PROXY_MEMORY_ERROR);
    EXPECT_EQ(tvx_proxy_call_method(proxy, nullptr, "method", nullptr, &result), nullptr);
    EXPECT_EQ(result, PROXY_OBJECT_NOT_FOUND);
    EXPECT_EQ(tvx_proxy_call_method(proxy, "object", nullptr, nullptr, &result), nullptr);
    EXPECT_EQ(result, PROXY_METHOD_NOT_FOUND);
    EXPECT_EQ(tvx_proxy_call_method(nullptr, "object", "method", nullptr, &result), nullptr);
    EXPECT_EQ(result, PROXY_CONNECTION_ERROR);
    EXPECT_EQ(tvx_proxy_call_method(proxy, "object", "method", nullptr, nullptr), nullptr);
    tvx_proxy_free(proxy);

    EXPECT_EQ(tvx_proxy_new(nullptr), nullptr);
    EXPECT_EQ(tvx_proxy_connect(nullptr, nullptr), 0);
    tvx_proxy_free(nullptr);
    tvx_poll_loop_free(nullptr);
}

TEST(CapiProxy, ResultsHaveNames)
{
    EXPECT_STREQ(tvx_proxy_result_to_string(PROXY_REMOVE_FAILED_WRONG_CLIENT),
                 "PROXY_REMOVE_FAILED_WRONG_CLIENT");
    EXPECT_STREQ(tvx_proxy_result_to_string(PROXY_REQUEST_TOO_LARGE), "PROXY_REQUEST_TOO_LARGE");
    EXPECT_STREQ(tvx_proxy_result_to_string(static_cast<RemoteProxyResult>(1)), "Unknown error");
}

} // namespace
