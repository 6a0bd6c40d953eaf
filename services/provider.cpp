#include "services/provider.h"

#include <chrono>
#include <utility>

#include "orvkit/result.h"
#include "platform/socket.h"
#include "services/association.h"
#include "services/charset.h"
#include "services/network_text.h"
#include "services/peer.h"
#include "services/report.h"

namespace services {
namespace {

constexpr int kTick = 200;            // milliseconds between looks at whether the server is to stop
constexpr unsigned int kPace = 1024;  // bytes a second that a peer must bring at least
constexpr unsigned int kMostInMemory = 2 << 20;  // of an association request; data sets go to their files

constexpr unsigned short kSopClassNotSupported = 0x0122;  // PS3.7 C.5.9
constexpr unsigned short kNoDataSet = 0x0101;             // Command Data Set Type (PS3.7 9.3.1.1)

unsigned char contextOf(DcMsg& message) {
    DcPduInfoTf info;
    (void)message.getInfo(info);
    return info.presCtxId;
}

std::string text(DcMsg& message, unsigned int tag) {
    char value[129] = "";
    (void)message.getValue(tag, value, sizeof value - 1);
    return value;
}

std::string nameOf(DICT_UID value) {
    const DcDictUidInfo* const uid = Dict.findUid(value);
    return uid != nullptr ? uid->desc : "unknown";
}

}  // namespace

StoreScp::StoreScp(StoreServer& server, Visitor visitor)
    : server_(server),
      visitor_(std::move(visitor)),
      socket_(visitor_.socket.get()),
      number_(++server.associations),
      peer_(visitor_.address),
      msm_(server.aet.c_str(), TSM_ROLE_SCP, server.port) {}

void StoreScp::tell(const std::string& line) {
    // Titles and UIDs are the peer's words.
    server_.tell(withEscapes("[" + std::to_string(number_) + "] " + peer_ + " " + line));
}

void StoreScp::run() {
    if (open()) {
        while (serveNext()) {
        }
    }
    (void)msm_.closeAssociation();
    if (stored_ > 0 && server_.settle) server_.settle();
}

// What one peer may cost, and what it is told when its request cannot be read.
void StoreScp::setBounds() {
    const int patience = server_.timeouts.readTimeout;
    (void)msm_.setPduTimeout(patience, kPace);
    (void)msm_.setMessageTimeout(2 * patience, kPace);  // a wait that is too long is told as one
    (void)msm_.setReceiveLimit(kMostInMemory);
    (void)msm_.setDataSetCheck(1);
    (void)msm_.setBrokenRequestAnswer(1);
}

bool StoreScp::open() {
    (void)msm_.registerDataSetCB(this, &StoreScp::take, &StoreScp::room);
    setBounds();
    DcMsmScpInfo info;
    info.callingAeTitles = server_.acceptFrom.data();
    info.sopList = server_.support.data();
    info.timeouts = server_.timeouts;
    info.maxPduLen = server_.maxPdu;
    (void)msm_.setAeTitleCheck(server_.aeTitleCheck);
    if (msm_.connect(visitor_.socket.release(), orvkit::platform::NO_SOCKET, info, MSM_BLOCK_CONNECT_POLL) !=
        RESULT_OK) {
        return false;
    }
    const int outcome = msm_.read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
    DcMsmAssoInfo asso;
    (void)msm_.getAssoInfo(asso);
    callingAet_ = asso.callingAeTitle;
    if (!callingAet_.empty()) peer_ = callingAet_ + "@" + visitor_.address;
    if (outcome != MSM_REQUEST_ANSWERED) return ended(outcome);
    if (asso.reject.result != 0) {
        tell("association refused: " + rejectText(asso.reject) + " (called " + asso.calledAeTitle + ")");
        (void)msm_.read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
        return false;
    }
    int accepted = 0;
    for (int i = 0; i < asso.assoNum; ++i) accepted += asso.xferSyn[i] != UID_NONE ? 1 : 0;
    tell("association accepted, " + std::to_string(accepted) + " of " + std::to_string(asso.assoNum) +
         " contexts");
    return true;
}

// Between messages the association can be ended at once.
bool StoreScp::awaitMessage() {
    const auto begun = std::chrono::steady_clock::now();
    const std::chrono::seconds patience(server_.timeouts.readTimeout);
    while (!orvkit::platform::waitReadable(socket_, kTick)) {
        const bool late = std::chrono::steady_clock::now() - begun > patience;
        if (!late && !server_.stopping) continue;
        tell(late ? "association aborted: nothing came in time" : "association aborted: the server stops");
        (void)msm_.abortAssociation();
        return false;
    }
    return true;
}

bool StoreScp::serveNext() {
    if (!awaitMessage()) return false;
    forgetFault();
    DICT_UID sopClass = UID_NONE;
    DcMsg* received = nullptr;
    const int outcome = msm_.read(&sopClass, &received, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
    const std::unique_ptr<DcMsg> request(received);
    if (request == nullptr) return ended(outcome);
    switch (request->getType()) {
        case DICT_MSG_C_ECHO_RQ:
            return echo(*request);
        case DICT_MSG_C_STORE_RQ:
            return store(sopClass, *request);
        default: {
            char name[64] = "";
            (void)request->getDesc(name);
            tell(std::string("association aborted: ") + (name[0] != '\0' ? name : "unknown command") +
                 " has no place here");
            (void)msm_.abortAssociation();
            return false;
        }
    }
}

bool StoreScp::echo(DcMsg& request) {
    DcCmdCEchoRsp response(static_cast<DcCmdCEchoRq*>(&request));
    (void)response.add(new DcElem(T_0000_0900_status, STORE_SUCCESS));
    const int result = msm_.write(contextOf(request), &response);
    if (result == RESULT_OK) return true;
    return ended(result);
}

// A data set that no file waits for is dropped.
int StoreScp::take(void* self, const unsigned char* data, unsigned int length, DICT_UID xferSyn, int last) {
    StoreFile* const file = static_cast<StoreScp*>(self)->file_;
    return file != nullptr ? StoreFile::take(file, data, length, xferSyn, last) : RESULT_OK;
}

unsigned char* StoreScp::room(void* self, unsigned int* size) {
    StoreFile* const file = static_cast<StoreScp*>(self)->file_;
    return file != nullptr ? StoreFile::room(file, size) : nullptr;
}

// The data set goes to the file as its fragments arrive.
bool StoreScp::receive(StoreFile& file, DcMsg& request, const std::string& instance) {
    file_ = &file;
    DcMsg* received = nullptr;
    const int outcome = msm_.read(nullptr, &received, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
    const std::unique_ptr<DcMsg> dataset(received);
    file_ = nullptr;
    if (dataset != nullptr && dataset->getType() == MSG_TYPE_DATASET &&
        contextOf(*dataset) == contextOf(request)) {
        return true;
    }
    ++server_.failed;
    if (dataset == nullptr) return ended(outcome, "; " + instance + " was not received to its end");
    tell("association aborted: something else came where the data set of " + instance + " was due");
    (void)msm_.abortAssociation();
    return false;
}

bool StoreScp::store(DICT_UID sopClass, DcMsg& request) {
    auto& command = static_cast<DcCmdCStoreRq&>(request);
    const std::string instance = text(command, T_0000_1000_affectedSopInstanceUid);
    DICT_UID asked = UID_NONE;
    (void)command.getValue(T_0000_0002_affectedSopClassUid, asked);
    unsigned short follows = 0;
    (void)command.getValue(T_0000_0800_dataSetType, follows);
    StoreFile file(server_.directory, server_.sync);
    file.describe(sopClass, instance, callingAet_);
    if (follows != kNoDataSet && !receive(file, request, instance)) return false;
    std::string told;
    unsigned short status = kSopClassNotSupported;
    if (asked == sopClass) {
        status = keep(file, instance, told);
    } else {
        told = "its SOP class is not that of its presentation context";
    }
    if (status == STORE_SUCCESS) {
        ++server_.stored;
        ++stored_;
        tell("stored " + told + " (" + nameOf(sopClass) + ", " + nameOf(file.xferSyn()) + ", " +
             bytesText(static_cast<double>(file.size())) + ")");
    } else {
        file.drop();
        ++server_.failed;
        tell("refused " + instance + ": " + told + ", status " + statusText(status));
    }
    DcCmdCStoreRsp response(&command);
    (void)response.add(new DcElem(T_0000_0900_status, status));
    const int result = msm_.write(contextOf(request), &response);
    return result == RESULT_OK ? true : ended(result);
}

// The status for the response; `told` receives the file's name or the fault.
unsigned short StoreScp::keep(StoreFile& file, const std::string& instance, std::string& told) {
    if (!isUid(instance)) {
        told = "its SOP Instance UID is not valid";
        return STORE_CANNOT_UNDERSTAND;
    }
    if (server_.place) {
        if (file.finish()) return server_.place(file, told);
    } else {
        told = instance + ".dcm";
        if (file.commit(server_.directory + "/" + told)) return STORE_SUCCESS;
    }
    told = file.fault();
    return file.status();
}

bool StoreScp::ended(int outcome, const std::string& lost) {
    if (outcome == MSM_RELEASE_REQUESTED) {
        tell("association released, " + std::to_string(stored_) + " stored" + lost);
    } else if (outcome == MSM_READ_TIMEOUT) {
        tell("association ended: what was begun did not come to its end in time" + lost);
    } else {
        tell("association ended: " + outcomeText(outcome, msm_) + lost);
    }
    return false;
}

}  // namespace services
