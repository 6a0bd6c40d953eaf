#include "tools/net_options.h"

#include <CLI/CLI.hpp>

namespace tools {
namespace {

std::string aeTitleFault(const std::string& text) {
    return isAeTitle(text) ? std::string() : "an AE title has 1 to 16 printable characters, and no backslash";
}

}  // namespace

void addEntityOptions(CLI::App& command, EntityOptions& options) {
    command.add_option("--aet", options.aet, "This side's AE title")
        ->check(aeTitleFault)
        ->type_name("AET")
        ->capture_default_str();
    command.add_option("--timeout", options.timeout, "The longest wait for the peer, in seconds")
        ->check(CLI::Range(1, 86400))
        ->type_name("SECONDS")
        ->capture_default_str();
    command.add_option("--max-pdu", options.maxPdu, "The largest PDU to accept, in bytes (524288)")
        ->check(CLI::Range(4096, 16777216))
        ->type_name("BYTES");
}

void addPeerOptions(CLI::App& command, PeerOptions& options, const char* rest, const char* help) {
    addEntityOptions(command, options);
    const std::string peer = "The peer, AET@host:port or host port";
    command
        .add_option(*rest == '\0' ? "PEER" : std::string("PEER ") + rest, options.words,
                    *rest == '\0' ? peer : peer + "; then " + help)
        ->required()
        ->type_name("");
    command.add_option("--aec", options.aec, "The peer's AE title, where PEER has none")
        ->check(aeTitleFault)
        ->type_name("AET")
        ->capture_default_str();
    command.add_option("--connect-timeout", options.connectTimeout, "The longest wait for a connection")
        ->check(CLI::Range(1, 86400))
        ->type_name("SECONDS")
        ->capture_default_str();
}

void addQueryOptions(CLI::App& command, QueryOptions& options) {
    command
        .add_option("-k,--key", options.keys,
                    "A key: PatientName=DOE*, 00100010=DOE* or, to see its value, StudyDate. May be given "
                    "several times")
        ->allow_extra_args(false)
        ->type_name("TAG=VALUE");
    command.add_option("--root", options.root, "The information model, patient or study root")
        ->check(CLI::IsMember({"patient", "study"}))
        ->type_name("ROOT")
        ->capture_default_str();
    command
        .add_option("--level", options.level,
                    "patient, study, series or image; unless given, that of the lowest UID among the keys, "
                    "or study")
        ->check(CLI::IsMember({"patient", "study", "series", "image"}, CLI::ignore_case))
        ->type_name("LEVEL");
    command.add_flag("--json", options.json, "Print JSON");
    command
        .add_option("--max-time", options.maxTime,
                    "Cancel the request when it is not done after so many seconds; 0 for no bound")
        ->check(CLI::Range(0, 31536000))
        ->type_name("SECONDS")
        ->capture_default_str();
}

}  // namespace tools
