// Every fixed path of the daemon, once.
#pragma once

// Device files.
inline constexpr const char* poe_controller_device_path = "/dev/poe_kernel_drv";
inline constexpr const char* cpld_device_path = "/dev/cpld_rtl819x";
inline constexpr const char* kernel_log_path = "/dev/kmsg";

// Local datagram sockets.
inline constexpr const char* external_socket_path = "/tmp/poe_driver_ipc_socket_server.txt";
inline constexpr const char* internal_rx_socket_path = "/tmp/poe_driver_ipc_socket_internal_rx_server.txt";
inline constexpr const char* internal_tx_socket_path = "/tmp/poe_driver_ipc_socket_internal_tx_server.txt";

// Shared with the switch's other processes.
inline constexpr const char* power_budget_path = "/tmp/poe_external_set_power_budget.txt";
inline constexpr const char* chip_information_path = "/tmp/poe_driver_chip_information.txt";
inline constexpr const char* trap_pipe_path = "/tmp/snmp_proc_pipe";
inline constexpr const char* start_up_trap_flag_path = "/tmp/poe_send_start_up_trap";

// Survive a reboot.
inline constexpr const char* tx_checksum_marks_path = "/flash/poe_error_tx_checksum.txt";
inline constexpr const char* rx_timeout_marks_path = "/flash/poe_error_rx_timeout.txt";
inline constexpr const char* rx_checksum_marks_path = "/flash/poe_error_rx_checksum.txt";
inline constexpr const char* statistics_file_path = "/flash/poe_statistics.txt";
inline constexpr const char* controller_programming_mark_path = "/flash/poe_controller_programming";
inline constexpr const char* stress_test_flag_path = "/flash/PoE_Stress_Test";
