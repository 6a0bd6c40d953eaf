// C-STORE (PS3.7 9.1.1, PS3.4 B).
#include <chrono>

#include "dictionary/uid_text.h"
#include "orvkit/tags.h"
#include "services/handlers.h"
#include "services/network_text.h"
#include "services/peer.h"
#include "services/provider.h"
#include "services/store_file.h"

namespace services {
namespace {

constexpr unsigned short kSopClassNotSupported = 0x0122;  // PS3.7 C.5.9

std::string uidNameOf(DICT_UID value) {
    const DcDictUidInfo* const uid = Dict.findUid(value);
    return uid != nullptr ? uid->desc : "unknown";
}

// The status for the response; `told` receives the file's name or the fault.
unsigned short keep(StoreServer& server, StoreFile& file, const std::string& instance, std::string& told) {
    if (!isUid(instance)) {
        told = "its SOP Instance UID is not valid";
        return kStoreCannotUnderstand;
    }
    std::string kept;
    if (server.transcode && file.complete()) {
        kept = server.transcode(file);
        if (!kept.empty()) kept.insert(0, "; kept as it came: ");
    }
    if (server.place) {
        if (file.finish()) {
            const unsigned short status = server.place(file, told);
            told += kept;
            return status;
        }
    } else if (file.commit(server.directory + "/" + file.instance() + ".dcm")) {
        told = file.instance() + ".dcm" + kept;
        return kStoreSuccess;
    }
    told = file.fault();
    return file.status();
}

}  // namespace

bool answerStore(Provider& provider, DICT_UID sopClass, DcMsg& request) {
    const auto begun = std::chrono::steady_clock::now();
    StoreServer& server = provider.server();
    const std::shared_ptr<void> storing = server.storing ? server.storing() : nullptr;
    auto& command = static_cast<DcCmdCStoreRq&>(request);
    char instance[129] = "";
    (void)command.getValue(T_0000_1000_affectedSopInstanceUid, instance, sizeof instance - 1);
    DICT_UID asked = UID_NONE;
    (void)command.getValue(T_0000_0002_affectedSopClassUid, asked);
    unsigned short follows = 0;
    (void)command.getValue(T_0000_0800_dataSetType, follows);
    StoreFile file(server.directory, server.sync);
    file.describe(sopClass, instance, provider.callingAet());
    if (provider.isBeyond()) return provider.abort("it goes on beyond the limits of an association");
    file.setGuard([&provider](std::uint64_t size) { return provider.boundOf(size); });
    if (follows != kNoDataSet && !provider.receive(file, request, instance)) return false;
    std::string told;
    unsigned short status = kSopClassNotSupported;
    if (file.failed()) {
        status = file.status();
        told = file.fault();
    } else if (asked == sopClass) {
        status = keep(server, file, instance, told);
    } else {
        told = "its SOP class is not that of its presentation context";
    }
    Event event = provider.event(EventId::transfer,
                                 status == kStoreSuccess ? EventOutcome::success : EventOutcome::minorFailure,
                                 statusText(status));
    event.object = instance;
    event.sopClass = orvkit::uidText(sopClass);
    event.bytes = static_cast<std::uint64_t>(file.size());
    event.milliseconds = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begun)
            .count());
    // What cannot be written down is not confirmed; the object stays, and its sender will bring it again.
    if (!server.trace.write(event) && status == kStoreSuccess) {
        status = kStoreOutOfResources;
        told = "the trace cannot be written";
    }
    if (status == kStoreSuccess) {
        provider.countStored(file);
        provider.tell("stored " + told + " (" + uidNameOf(sopClass) + ", " + uidNameOf(file.xferSyn()) +
                      ", " + bytesText(static_cast<double>(file.size())) + ")");
    } else {
        file.drop();
        ++server.failed;
        provider.tell(std::string("refused ") + instance + ": " + told + ", status " + statusText(status));
    }
    DcCmdCStoreRsp response(&command);
    return provider.respond(request, response, status);
}

}  // namespace services
