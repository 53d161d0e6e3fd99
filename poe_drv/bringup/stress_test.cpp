#include "bringup/stress_test.h"

#include "controller/counters.h"
#include "controller/operations.h"
#include "controller/status.h"
#include "core/diagnostics.h"

namespace {

void print_totals(const stress_totals& totals) {
    const auto& link = g_dbg_communication_info;
    const auto count = [](const counter64& counter) { return static_cast<unsigned long long>(counter.get()); };
    say("===================================\n");
    say("total_count            : %010d\n", static_cast<int>(totals.total_count));
    say("data_fail_count        : %010d\n", static_cast<int>(totals.data_fail_count));
    say("[dbg]\n");
    say("  total                : %010llu\n", count(link.total));
    say("  undefined_key_value  : %010llu\n", count(link.undefined_key_value));
    say("  [rx]\n");
    say("    retry              : %010llu\n", count(link.rx_retry));
    say("    timeout            : %010llu\n", count(link.rx_timeout));
    say("    chksum_error       : %010llu\n", count(link.rx_chksum_error));
    say("  [tx]\n");
    say("    correctly_executed : %010llu\n", count(link.tx_correctly_executed));
    say("    chksum_error       : %010llu\n", count(link.tx_chksum_error));
}

}  // namespace

void stress_test_round(stress_totals& totals) {
    controller_identity found{};
    const int status = poe_get_software_version(&found.o0, &found.o1, &found.o2, &found.o3, &found.o4, &found.o5,
                                                &found.o6, &found.o7, &found.o8);
    totals.total_count++;
    if (status == controller_ok && found != fitted_controller) totals.data_fail_count++;
    poe_get_system_measurments(nullptr, nullptr, nullptr, nullptr, nullptr);
    print_totals(totals);
}

void for_check_cpld_hardware() {
    stress_totals totals{};
    for (;;)
        stress_test_round(totals);
}
