#include "ipc/dispatch.h"

#include "core/diagnostics.h"
#include "ipc/message_table.h"

int poe_rx_ipc_content_process(int socket, const void* peer, unsigned char* message, int length) {
    if (length < 1) return 0;
    const ipc_message_row* const row = find_ipc_message(message[0]);
    if (row == nullptr) return 0;
    if (row->length != any_length && row->length != length) {
        say("[%s , %s() , %d]: %s\n", diagnostics_file_name, __func__, __LINE__, row->size_error);
        return 0;
    }
    row->handler(socket, peer, row->argument == handed_over::payload ? message + sizeof(ipc_envelope) : message,
                 length);
    return 0;
}
