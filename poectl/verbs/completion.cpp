#include "poectl/verbs/verbs.h"
namespace poectl {
void add_completion(command_line&) {}
poe_client::failure print_completion(const command&, poe_client::connection&, picture&) {
    return {};
}
poe_client::failure print_suggestions(const command&, poe_client::connection&, picture&) {
    return {};
}
}  // namespace poectl
