#include "supervision/link.h"

#include <array>
#include <cstddef>

#include "core/diagnostics.h"
#include "core/records.h"
#include "core/wire.h"
#include "platform/link_mon_intf.h"

namespace {

using port_word = std::uint16_t;
static_assert(link_mon_port_words_offset + port_count * sizeof(port_word) <= link_mon_record_size);

}  // namespace

int poe_drv_port_status_get(std::uint8_t port, std::uint32_t& link) {
    if (port >= port_count) return 1;
    alignas(std::uint64_t) std::array<unsigned char, link_mon_record_size> record{};
    if (link_mon_intf_param_get(record.data()) != 0) {
        say_out("link_mon_intf_param_get fail\n");
        return 1;
    }
    const auto word = record_from<port_word>(record.data() + link_mon_port_words_offset + port * sizeof(port_word));
    link = (word & link_mon_link_up) != 0 ? link_up : link_down;
    return 0;
}
