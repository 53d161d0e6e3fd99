// Writes the fuzzers' first inputs, a folder a target: the known messages of the wire, conversations of the daemon with
// a controller at work, and files and verbs as people and processes write them. Unpacks the committed corpus beside
// them.
//
//     fuzz_seeds SEEDS_FOLDER CORPUS_FOLDER CORPUS_TEXT...
#include <array>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "answer_steps.h"
#include "bringup/controller_init.h"
#include "client_steps.h"
#include "daemon_bench.h"
#include "models/controller.h"
#include "steps.h"
#include "unpack_corpus.h"
#include "vectors/vectors.h"

namespace fuzz {

namespace {

using bytes = std::vector<std::uint8_t>;

std::filesystem::path folder;

void write_seed(const std::string& target, const std::string& name, bytes_view contents) {
    std::filesystem::create_directories(folder / target);
    std::ofstream file(folder / target / name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(contents.data()), static_cast<std::streamsize>(contents.size()));
    must(file.good(), "a seed is written");
}

void write_seed(const std::string& target, const std::string& name, const std::string& contents) {
    write_seed(target, name, bytes(contents.begin(), contents.end()));
}

void write_steps(const std::string& name, const step_list& steps) {
    bytes contents(65536);
    contents.resize(put_steps(steps, contents.data(), contents.size()));
    write_seed("client_datagram", name, contents);
}

// --- client datagrams
// -------------------------------------------------------------------------------------------------

step as_step(client::happening what, bytes contents) {
    return {.kind = static_cast<std::uint8_t>(what), .bytes = std::move(contents)};
}

step datagram_of(bytes message) {
    message.insert(message.begin(), static_cast<std::uint8_t>(client::asker::named));
    return as_step(client::happening::datagram, std::move(message));
}

void write_client_datagrams() {
    using client::happening;
    step_list all;
    for (const message_vector& message : message_vectors()) {
        if (message.direction != message_direction::request) continue;
        write_steps(message.name, {datagram_of(message.bytes), as_step(happening::passes, {5})});
        all.push_back(datagram_of(message.bytes));
    }
    write_steps("every_request", all);
    step_list at_work{as_step(happening::surroundings, {client::traps_are_welcome}),
                      datagram_of(message_bytes("set_all_ports_same")), as_step(happening::passes, {15})};
    for (std::uint8_t port = 0; port < 4; port++) {
        const std::uint8_t kind = port == 3 ? 3 : 2;
        at_work.push_back(as_step(happening::device, {port, kind, static_cast<std::uint8_t>(port + 1), 0, 4}));
    }
    for (int i = 0; i < 6; i++) {
        at_work.push_back(as_step(happening::time, {2, 0, 0, 0}));
        at_work.push_back(as_step(happening::passes, {3}));
    }
    for (const char* next : {"power_cycle_ports_0_and_2", "get_power_cycles", "set_system", "get_all_port_status"}) {
        at_work.push_back(datagram_of(message_bytes(next)));
        at_work.push_back(as_step(happening::passes, {3}));
        at_work.push_back(as_step(happening::time, {60, 0, 0, 0}));
    }
    write_steps("ports_at_work", at_work);
}

// --- controller answers
// -----------------------------------------------------------------------------------------------

// A conversation of several sweeps with a controller that has devices on its ports.
class conversation : daemon_bench {
  public:
    conversation() {
        the_world.controller = [this](std::uint32_t, frame_bytes& frame) {
            chip_.advance(latency_us);
            frame = chip_.answer(frame);
            if (is_recorded_) {
                heard_.push_back(0);
                heard_.insert(heard_.end(), frame.begin(), frame.end());
            }
            return 0;
        };
        poe_chip_init();
        is_recorded_ = true;
        heard_ = {0x0F, 0, 0, 50, answer::traps_are_welcome};
        for (std::size_t port = 0; port < 4; port++)
            g_port_pmt[port].Port_Enable.set(1);
        for (std::uint8_t port = 0; port < 4; port++)
            chip_.answer(power_on(port));
    }

    bytes hear(const std::vector<vswitch::powered_device>& devices, int sweeps) {
        for (std::size_t port = 0; port < devices.size(); port++)
            chip_.plug(port, devices[port]);
        for (int passes = 0; passes < sweeps * 4; passes++) {
            supervise_once(state);
            chip_.advance(pass_us);
        }
        chip_.unplug(0);
        for (int passes = 0; passes < 8; passes++)
            supervise_once(state);
        return heard_;
    }

  private:
    static vswitch::frame power_on(std::uint8_t port) {
        vswitch::frame request = vswitch::blank_answer(vswitch::command_key::port_power);
        request[2] = port;
        request[3] = 1;
        vswitch::seal(request);
        return request;
    }

    static constexpr std::uint64_t latency_us = 2000;
    static constexpr std::uint64_t pass_us = 60000;
    vswitch::controller chip_{1};
    bool is_recorded_ = false;
    bytes heard_;
};

vswitch::powered_device device(vswitch::device_kind kind, unsigned power_class, std::uint32_t load_mw,
                               vswitch::breakage broken = vswitch::breakage::none) {
    vswitch::powered_device one{.kind = kind, .power_class = power_class, .four_pairs = power_class > 4};
    one.broken = broken;
    vswitch::set_total_load(one, load_mw);
    return one;
}

void write_controller_answers() {
    using kind = vswitch::device_kind;
    using vswitch::breakage;
    write_seed("controller_answer", "devices_at_work",
               conversation().hear({device(kind::single_signature, 3, 6000), device(kind::single_signature, 8, 70000),
                                    device(kind::dual_signature, 3, 20000), device(kind::legacy, 0, 3000)},
                                   5));
    write_seed("controller_answer", "devices_in_trouble",
               conversation().hear({device(kind::single_signature, 2, 4000, breakage::short_circuit),
                                    device(kind::single_signature, 4, 60000, breakage::overload),
                                    device(kind::dual_signature, 2, 9000, breakage::open),
                                    device(kind::single_signature, 1, 1000, breakage::bad_signature)},
                                   5));
}

// --- files, replies, verbs
// --------------------------------------------------------------------------------------------

void write_replies() {
    // In the order of the target's questions; the last stands for every acknowledgement.
    constexpr std::array<std::uint8_t, 14> asked{0, 1, 2, 5, 6, 7, 11, 12, 13, 14, 15, 16, 17, 18};
    for (const message_vector& message : message_vectors()) {
        if (message.direction != message_direction::reply) continue;
        const auto found = std::find(asked.begin(), asked.end(), message.type);
        const bool is_query = found != asked.end();
        bytes input{static_cast<std::uint8_t>(found - asked.begin()), message.type};
        if (is_query) input[1] = message.bytes.size() > 8 ? message.bytes[8] : 0;
        input.insert(input.end(), message.bytes.begin(), message.bytes.end());
        write_seed("client_reply", message.name, input);
        input[0] |= 0x80;
        write_seed("client_reply", message.name + "_shown", input);
    }
}

void write_texts() {
    const std::map<std::string, std::map<std::string, std::string>> texts{
        {"statistics_file",
         {{"four_lines", "0, 86400, 1296000000\n1, 0, 0\n2, 17, 3600000\n3, 4294967295, -1\n"},
          {"no_last_newline", "0, 1, 2"},
          {"unusual", " 1,\t+2,-3 and more\n\n4, 5, 6\n-4294967294, 1, 99999999999999999999999\n"},
          {"long_line", "2, 00000000000000000000000000000000000000000000000000000000000000000000017, 5\n"}}},
        {"budget_file",
         {{"usual", "300\n"},
          {"largest", " \t65535 W"},
          {"too_large", "65536"},
          {"signed", "-5\n"},
          {"nothing", "\n"},
          {"zeros", "0000000000000000000120\n"}}},
        {"control_verb",
         {{"devices",
           "plug 1 --class 3 --load 6.5\nplug 2 --dual --class 3 --load 9,12.5\nplug 3 --legacy\n"
           "plug 4 --class 8 --pairs 4 --broken overload\n> 01 00 00 01 01 01 02 01 03 01\n+ 1500\n"
           "> 42 00 01\nload 1 2.125\nbreak 1 short\nmend 1\nunplug 3\nevent 2 5 7\n= show ports\n"},
          {"faults",
           "fault no-answer --times 2\nfault delay --ms 250 --key 42\n> 42 00 01\nfault key-b --errno 5\n"
           "> 44 00 01\nfault cpld\nfault clear\n= show faults\n"},
          {"answers",
           "answer 42 2 01 02 16 00 00 00 00 00 00\n> 42 00 01\nanswer 4B/0 00 02 0B B8 0 0 0 0 0\n"
           "> 4B 00\nclear-answers\n= frames --all --notes\n"},
          {"shows",
           "link 3 down\nlink 3 up\ncontroller restart\ncontroller factory\nlatency 2500\nshow\n= show leds\n"
           "frames --last 3 --settings\nframes --first 2 --key 42 --after 0\nframes clear\ntraps --last 2\n"
           "traps clear\nhelp\nnone\n= none\n> 42 00 01 FF FF FF FF FF FF FF FF 00\n"}}},
    };
    for (const auto& [target, named] : texts) {
        for (const auto& [name, text] : named)
            write_seed(target, name, text);
    }
}

}  // namespace

}  // namespace fuzz

int main(int argc, char** argv) {
    fuzz::must(argc >= 3, "two folders are named");
    fuzz::folder = argv[1];
    fuzz::write_client_datagrams();
    fuzz::write_controller_answers();
    fuzz::write_replies();
    fuzz::write_texts();
    for (const char* text : std::span(argv, static_cast<std::size_t>(argc)).subspan(3))
        fuzz::unpack_corpus(text, argv[2]);
}
