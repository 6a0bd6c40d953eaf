// orvkit send: Part 10 files to a storage provider.
#include <climits>
#include <memory>

#include "orvkit/file.h"
#include "services/isolation.h"
#include "services/report.h"
#include "services/user.h"
#include "tools/commands.h"
#include "tools/net_options.h"

namespace tools {

void addSend(Command& program) {
    Command& command = program.command("send", "Send DICOM files to a peer (C-STORE)");
    auto options = std::make_shared<SendOptions>();
    auto words = addPeerOptions(command, *options, "FILE|DIR...",
                                "DICOM files, and directories, with everything below them");
    command.number("-j,--jobs N", options->jobs, "Associations side by side").range(1, 64);
    command
        .number("--retry N", options->retry,
                "After a failure of the network, try a file, or to connect, so many times more")
        .range(0, 1000);
    command.flag("--transcode", options->transcode,
                 "For a peer that does not take the transfer syntax of a file, unpack its frames, or pack "
                 "them without loss as the peer wants them");
    command.flag("--commit", options->commit,
                 "Then ask the peer to commit itself to what it has taken (storage commitment), wait for its "
                 "report, and tell of each file whether it is committed");
    command
        .number("--commit-port PORT", options->commitPort,
                "Port to listen on for a report that comes on an association of its own; with --tls over TLS")
        .range(1, 65535)
        .hideDefault();
    command.number("--commit-time SECONDS", options->commitTime, "The longest wait for the report")
        .range(1, 86400);
    const auto isolate = std::make_shared<bool>(false);
    command.footer(
        "Files are sent as they are. One whose transfer syntax the peer does not take goes in explicit or\n"
        "implicit VR little endian, where that changes nothing but the encoding, and that is told.\n"
        "Exit status 1 when any file was not stored, or with --commit, is not committed.");
    addIsolate(command, *isolate);
    command.run([options, words, isolate]() -> int {
        if (*isolate && !isolateCodecs()) return EXIT_FAILED;
        dirSetMaxFileSize(INT_MAX);
        if (options->commitPort != 0 && !options->commit) return misused("--commit-port belongs to --commit");
        if (options->commitPort != 0 && options->tls.on && options->tls.certificate.empty())
            return misused("--commit-port over TLS needs --tls-cert and --tls-key");
        return runAsUser(*options, *words, true, [&] { return send(*options, *words); });
    });
}

}  // namespace tools
