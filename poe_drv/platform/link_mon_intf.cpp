#include "platform/link_mon_intf.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

// The kernel's <linux/if.h> cannot be included beside <net/if.h>, which lacks this one.
#ifndef IFF_LOWER_UP
#define IFF_LOWER_UP 0x10000
#endif

namespace {

constexpr std::size_t port_count = 4;

struct interface_name {
    char text[IFNAMSIZ];  // ended by a zero
};

// The four names of a comma-separated list; nothing when it is another number of names, or one of them is empty or
// longer than the kernel allows.
consteval std::optional<std::array<interface_name, port_count>> split_names(const char* list) {
    std::array<interface_name, port_count> names{};
    std::size_t port = 0;
    std::size_t length = 0;
    for (; *list != '\0'; list++) {
        if (*list == ',') {
            if (length == 0 || ++port == port_count) return std::nullopt;
            length = 0;
        } else {
            if (length == IFNAMSIZ - 1) return std::nullopt;
            names[port].text[length++] = *list;
        }
    }
    if (length == 0 || port != port_count - 1) return std::nullopt;
    return names;
}

constexpr auto interface_names = split_names(POE_LINK_INTERFACES);
static_assert(interface_names.has_value(), "POE_LINK_INTERFACES names four interfaces, separated by commas");

// One question to the kernel: the link whose name follows.
struct link_question {
    nlmsghdr header;
    ifinfomsg link;
    rtattr name_attribute;
    interface_name name;
};
static_assert(offsetof(link_question, name_attribute) == NLMSG_LENGTH(sizeof(ifinfomsg)));
static_assert(offsetof(link_question, name) == offsetof(link_question, name_attribute) + RTA_LENGTH(0));

// As much of the answer as matters here: what the link is, or why there is none. The kernel cuts off the rest.
struct link_answer {
    nlmsghdr header;
    union {
        ifinfomsg link;
        nlmsgerr failure;
    };
};

bool ask(int descriptor, std::uint32_t sequence, const interface_name& name) {
    link_question question{};
    question.header.nlmsg_len = sizeof question;
    question.header.nlmsg_type = RTM_GETLINK;
    question.header.nlmsg_flags = NLM_F_REQUEST;
    question.header.nlmsg_seq = sequence;
    question.link.ifi_family = AF_UNSPEC;
    question.name_attribute.rta_type = IFLA_IFNAME;
    question.name_attribute.rta_len = RTA_LENGTH(sizeof name);
    question.name = name;
    const sockaddr_nl kernel{.nl_family = AF_NETLINK, .nl_pad = 0, .nl_pid = 0, .nl_groups = 0};
    return sendto(descriptor, &question, sizeof question, MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&kernel),
                  sizeof kernel) == static_cast<ssize_t>(sizeof question);
}

// The kernel answers before the question's send returns, so there is nothing to wait for.
bool hear(int descriptor, std::uint32_t sequence, link_answer& answer) {
    for (;;) {
        answer = {};
        sockaddr_nl sender{};
        socklen_t sender_length = sizeof sender;
        const ssize_t length = recvfrom(descriptor, &answer, sizeof answer, MSG_DONTWAIT,
                                        reinterpret_cast<sockaddr*>(&sender), &sender_length);
        if (length < 0 && errno == EINTR) continue;
        if (length < static_cast<ssize_t>(sizeof answer.header)) return false;
        if (sender.nl_pid == 0 && answer.header.nlmsg_seq == sequence) return true;
    }
}

// Whether the link of that name is switched on and has a carrier; nothing when the kernel does not tell.
std::optional<bool> carrier_of(int descriptor, std::uint32_t sequence, const interface_name& name) {
    link_answer answer;
    if (!ask(descriptor, sequence, name) || !hear(descriptor, sequence, answer)) return std::nullopt;
    if (answer.header.nlmsg_type == RTM_NEWLINK) {
        constexpr unsigned up = IFF_UP | IFF_LOWER_UP;
        return (answer.link.ifi_flags & up) == up;
    }
    if (answer.header.nlmsg_type == NLMSG_ERROR && answer.failure.error == -ENODEV) return false;
    return std::nullopt;
}

}  // namespace

int link_mon_intf_param_get(void* record) {
    std::memset(record, 0, link_mon_record_size);
    const int descriptor = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (descriptor < 0) return -1;
    bool told = true;
    for (std::uint32_t port = 0; port < port_count && told; port++) {
        const std::optional<bool> carrier = carrier_of(descriptor, port + 1, (*interface_names)[port]);
        told = carrier.has_value();
        const std::uint16_t word = carrier.value_or(false) ? link_mon_link_up : 0;
        std::memcpy(static_cast<unsigned char*>(record) + link_mon_port_words_offset + port * sizeof word, &word,
                    sizeof word);
    }
    close(descriptor);
    return told ? 0 : -1;
}
