#include "tools/net_options.h"

namespace tools {
namespace {

std::string aeTitleFault(const std::string& text) {
    return isAeTitle(text) ? std::string() : "an AE title has 1 to 16 printable characters, and no backslash";
}

}  // namespace

Option& addEntityOptions(Command& command, EntityOptions& options) {
    Option& aet = command.text("--aet", options.aet, "This side's AE title").check(aeTitleFault).value("AET");
    command.number("--timeout", options.timeout, "The longest wait for the peer, in seconds")
        .range(1, 86400)
        .value("SECONDS");
    command.number("--max-pdu", options.maxPdu, "The largest PDU to accept, in bytes (524288)")
        .range(4096, 16777216)
        .value("BYTES")
        .hideDefault();
    return aet;
}

void addPeerOptions(Command& command, PeerOptions& options, const char* rest, const char* help) {
    addEntityOptions(command, options);
    const std::string peer = "The peer, AET@host:port or host port";
    command
        .texts(*rest == '\0' ? "PEER" : std::string("PEER ") + rest, options.words,
               *rest == '\0' ? peer : peer + "; then " + help)
        .required()
        .value("");
    command.text("--aec", options.aec, "The peer's AE title, where PEER has none")
        .check(aeTitleFault)
        .value("AET");
    command.number("--connect-timeout", options.connectTimeout, "The longest wait for a connection")
        .range(1, 86400)
        .value("SECONDS");
}

void addQueryOptions(Command& command, QueryOptions& options) {
    command
        .texts("-k,--key", options.keys,
               "A key: PatientName=DOE*, 00100010=DOE* or, to see its value, StudyDate. May be given "
               "several times")
        .value("TAG=VALUE");
    command.text("--root", options.root, "The information model, patient or study root")
        .oneOf({"patient", "study"})
        .value("ROOT");
    command
        .text("--level", options.level,
              "patient, study, series or image; unless given, that of the lowest UID among the keys, "
              "or study")
        .oneOf({"patient", "study", "series", "image"})
        .inAnyCase()
        .value("LEVEL");
    command.flag("--json", options.json, "Print JSON");
    command
        .number("--max-time", options.maxTime,
                "Cancel the request when it is not done after so many seconds; 0 for no bound. Unless given, "
                "when "
                "nothing has come of it for three times --timeout")
        .range(0, 31536000)
        .value("SECONDS")
        .hideDefault();
}

}  // namespace tools
