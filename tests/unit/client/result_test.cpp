#include "poe_client/result.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>

#include "poe_client/poe_client.h"

namespace {

using namespace poe_client;

TEST(failures, have_the_name_and_the_sentence_that_c_gives_them) {
    constexpr std::pair<failure_kind, int> kinds[]{{failure_kind::none, POE_CLIENT_OK},
                                                   {failure_kind::no_daemon, POE_CLIENT_NO_DAEMON},
                                                   {failure_kind::not_permitted, POE_CLIENT_NOT_PERMITTED},
                                                   {failure_kind::timeout, POE_CLIENT_TIMEOUT},
                                                   {failure_kind::refused, POE_CLIENT_REFUSED},
                                                   {failure_kind::malformed, POE_CLIENT_MALFORMED},
                                                   {failure_kind::own_socket, POE_CLIENT_OWN_SOCKET}};
    for (const auto& [kind, error] : kinds) {
        EXPECT_EQ(failure_name(kind), poe_client_error_name(error));
        EXPECT_EQ(failure_text(kind), poe_client_error_text(error));
        EXPECT_THAT(std::string(failure_text(kind)), testing::MatchesRegex(".+[.?]"));
    }
    EXPECT_EQ(failure_name(failure_kind::timeout), "timeout");
    EXPECT_EQ(failure_name(static_cast<failure_kind>(99)), "unknown");
}

}  // namespace
