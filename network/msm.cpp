// The association service: its life, opening and ending associations, and what it can be asked.
#include "orvkit/msm.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "foundation/fail.h"
#include "foundation/identity.h"
#include "media/meta_info.h"
#include "network/msm_own.h"
#include "network/reception.h"
#include "orvkit/util.h"
#include "platform/file.h"
#include "platform/socket.h"

using namespace orvkit;

namespace {

constexpr const char* fallbackAeTitle = "orvKIT5 Server";
constexpr DICT_UID uncompressed[] = {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT,
                                     UID_BIG_ENDIAN_EXPLICIT};

bool isBlank(char c) {
    return c == ' ' || (c >= 0 && c <= 13);
}

int checkAeTitle(const char* title) {
    constexpr const char* reporter = "verifyValueAE";
    if (title == nullptr) return RESULT_OK;
    if (std::strlen(title) > wire::kAeTitleLength) {
        return fail(ELEM_ILLEGAL_CHAR, LOG_VALIDATION, reporter,
                    "String %s exceeds the limit of 16 characters", title);
    }
    for (const char* c = title; *c != '\0'; ++c) {
        if (*c >= ' ' && *c <= '~') continue;
        return fail(ELEM_ILLEGAL_CHAR, LOG_VALIDATION, reporter, "Illegal character '%c' (0x%x) in string %s",
                    *c, static_cast<unsigned int>(static_cast<unsigned char>(*c)), title);
    }
    return RESULT_OK;
}

int checkUid(const char* uid) {
    if (uid == nullptr || std::strlen(uid) <= wire::kUidLength) return RESULT_OK;
    return fail(ELEM_ILLEGAL_CHAR, LOG_VALIDATION, "verifyValueUI",
                "String %s exceeds the limit of 64 characters", uid);
}

int checkIdentity(const char* aeTitle, const char* implClassUid, const char* implVerName) {
    int result = checkAeTitle(aeTitle);
    if (result == RESULT_OK) result = checkUid(implClassUid);
    if (result == RESULT_OK) result = checkAeTitle(implVerName);
    return result;
}

std::size_t sopCount(const DcMsmSopXferSyn* list) {
    std::size_t count = 0;
    while (list != nullptr && count < MSM_SOP_MAX && list[count].sopClass != 0) ++count;
    return count;
}

}  // namespace

DcMsmSopXferSyn::DcMsmSopXferSyn(DICT_UID sop, DICT_UID* xfers, TSM_ROLE asRole)
    : sopClass(sop), role(asRole) {
    if (xfers == nullptr) xferSyn[0] = UID_LITTLE_ENDIAN_IMPLICIT;
    for (int i = 0; xfers != nullptr && i < MSM_XFER_SYN_MAX && xfers[i] != 0; ++i) xferSyn[i] = xfers[i];
}

DcMsmScuInfo::DcMsmScuInfo() : implClassUid(orvkit::implClassUid), implVerName(associationVersionName) {}
DcMsmScpInfo::DcMsmScpInfo() : implClassUid(orvkit::implClassUid), implVerName(associationVersionName) {}

// ---- life -------------------------------------------------------------------------------------------

DcMsm::DcMsm(const char* aeTitle, TSM_ROLE role, int port) : DcTul(role, port), own_(new Own) {
    copyText(own_->implClassUid, orvkit::implClassUid);
    copyText(own_->implVerName, associationVersionName);
    (void)setAeTitle(aeTitle);
    (void)setSopSupport();
}

DcMsm::~DcMsm() {
    delete own_;
}

int DcMsm::setAeTitle(const char* aeTitle) {
    constexpr const char* reporter = "DcMsm::setAeTitle";
    const char* from = aeTitle != nullptr ? aeTitle : "";
    while (*from != '\0' && isBlank(*from)) ++from;
    std::string title(from, std::min<std::size_t>(std::strlen(from), wire::kAeTitleLength));
    while (!title.empty() && title.back() == ' ') title.pop_back();
    int result = RESULT_OK;
    if (title.empty()) {
        std::string host;
        const bool started = platform::startSockets();
        if (!started || !platform::ownHostName(host)) {
            result = fail(TSM_HOST_NAME, LOG_VALIDATION, reporter, "gethostname failed");
            title = fallbackAeTitle;
        } else {
            title = host.substr(0, wire::kAeTitleLength);
            for (char& c : title) {
                if (c < ' ' || c > '~') c = '_';
            }
            if (title != host) {
                (void)fail(0, LOG_VALIDATION, reporter, "Different hostname '%s' and Local AE Title '%s'",
                           host.c_str(), title.c_str());
            }
        }
        if (started) platform::endSockets();
    }
    copyText(own_->aeTitle, title.c_str());
    return result;
}

int DcMsm::setAeTitleAccept(const char** titles) {
    own_->callingAccepted.clear();
    for (int i = 0; titles != nullptr && i < MSM_AE_ACCEPT_MAX && titles[i] != nullptr; ++i) {
        char title[wire::kAeTitleLength + 1];
        copyText(title, titles[i]);
        (void)utilRemoveSpace(title, UTIL_SPACE_LEADING | UTIL_SPACE_TRAILING);
        own_->callingAccepted.emplace_back(title);
    }
    return RESULT_OK;
}

int DcMsm::setAeTitleCheck(int flags) {
    own_->aeTitleCheck = flags;
    return RESULT_OK;
}

// Until an application gives its own list: every SOP class of the registry.
int DcMsm::setSopSupport() {
    own_->support.clear();
    DcMsmSopXferSyn entry;
    std::copy(std::begin(uncompressed), std::end(uncompressed), entry.xferSyn);
    for (std::size_t i = 0; i < Dict.uidSlots() && own_->support.size() < MSM_SOP_MAX; ++i) {
        const DcDictUidInfo& uid = Dict.uidAt(i);
        if (uid.value == UID_NONE || uid.type != UID_TYPE_SOP) continue;
        entry.sopClass = uid.value;
        own_->support.push_back(entry);
    }
    return RESULT_OK;
}

int DcMsm::setSopXferAccept(DcMsmSopXferSyn* list) {
    constexpr const char* reporter = "DcMsm::setSopXferAccept";
    if (list == nullptr) return failNull(MSM_PRINT, reporter, LOG_NOTICE);
    std::vector<DcMsmSopXferSyn> accepted;
    const std::size_t count = sopCount(list);
    for (std::size_t i = 0; i < count; ++i) {
        DcMsmSopXferSyn entry = list[i];
        if (entry.sopClass != MSM_SOP_UNKNOWN && Dict.getUidType(entry.sopClass) != UID_TYPE_SOP) {
            (void)fail(0, LOG_VALIDATION, reporter, "'%s' is not an SOP Class UID", uidName(entry.sopClass));
            continue;
        }
        entry.xferSyn[MSM_XFER_SYN_MAX] = UID_NONE;
        if (entry.xferSyn[0] == UID_NONE) entry.xferSyn[0] = UID_LITTLE_ENDIAN_IMPLICIT;
        int kept = 0;
        for (int j = 0; entry.xferSyn[j] != UID_NONE; ++j) {
            const DICT_UID syntax = entry.xferSyn[j];
            if (Dict.getUidType(syntax) == UID_TYPE_XFER_SYN) {
                entry.xferSyn[kept++] = syntax;
            } else {
                (void)fail(0, LOG_VALIDATION, reporter, "'%s' is not a Transfer Syntax UID", uidName(syntax));
            }
        }
        std::fill(entry.xferSyn + kept, std::end(entry.xferSyn), UID_NONE);
        if (kept == 0) {
            (void)fail(0, LOG_VALIDATION, reporter, "No valid Transfer Syntax provided for SOP Class '%s'",
                       uidName(entry.sopClass));
            continue;
        }
        accepted.push_back(entry);
    }
    own_->support = std::move(accepted);
    return RESULT_OK;
}

void DcMsm::resetAssoInfo() {
    own_->asso = DcMsmAssoInfo();
    own_->hostName[0] = '\0';
    expectDataSet(false);
}

// ---- opening ----------------------------------------------------------------------------------------

int DcMsm::prepareScu(DcMsmScuInfo& info) {
    constexpr const char* reporter = "DcMsm::connect";
    if ((role_ & TSM_ROLE_SCU) == 0) return TUL_NOT_SCU;
    const std::size_t count = sopCount(info.sopList);
    if (count == 0) return fail(MSM_SOP_CLASS, LOG_VALIDATION, reporter, "List of SOPs is absent");
    if (count > MSM_PROPOSAL_MAX) {
        return fail(MSM_SOP_CLASS, LOG_VALIDATION, reporter,
                    "Number of SOPs proposed exceeds the limit of %d", MSM_PROPOSAL_MAX);
    }
    const int result = checkIdentity(info.calledAeTitle, info.implClassUid, info.implVerName);
    if (result != RESULT_OK) return result;
    resetAssoInfo();
    (void)setSopXferAccept(info.sopList);
    std::erase_if(own_->support, [](const auto& entry) { return entry.sopClass == MSM_SOP_UNKNOWN; });
    own_->maxPduLen = info.maxPduLen != 0 ? info.maxPduLen : maxPduLen_;
    copyText(own_->implClassUid, info.implClassUid);
    copyText(own_->implVerName, info.implVerName);
    return setTimeoutInfo(info.timeouts);
}

int DcMsm::connect(const char* host, DcMsmScuInfo& info) {
    if (isConnected()) return RESULT_OK;
    if (host == nullptr) return failNull(MSM_PRINT, "DcMsm::connect");
    if (const int result = prepareScu(info); result != RESULT_OK) return result;
    copyText(own_->hostName, host);
    setState(TSM_STATE_01_IDLE);
    if (const int result = event00_connectScu(host, getPort()); result != RESULT_OK) {
        setState(TSM_STATE_01_IDLE);
        return result;
    }
    return propose(info);
}

int DcMsm::connect(unsigned int socket, DcMsmScuInfo& info) {
    if (isConnected()) return RESULT_OK;
    if (const int result = prepareScu(info); result != RESULT_OK) return result;
    (void)setSockHandles(TSM_ROLE_SCU, socket, platform::kNoSocket);
    return propose(info);
}

int DcMsm::propose(DcMsmScuInfo& info) {
    if (!isConnected()) return MSM_NO_CONNECTION;
    platform::Address peer;
    std::memcpy(peer.bytes, peerAddress_, sizeof peer.bytes);
    peer.length = peerAddressLen_;
    copyText(own_->asso.peerAddress, platform::addressText(peer).c_str());
    if (const int result = scuAssoRq(info); result != RESULT_OK) {
        closeTransport();
        return result == DATATF_SOCKET ? MSM_RECEIVE : result;
    }
    return read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_WAIT);
}

int DcMsm::connect(DcMsmScpInfo& info, MSM_BLOCK_CONNECT block) {
    if ((role_ & TSM_ROLE_SCP) == 0) return TUL_NOT_SCP;
    if (sopCount(info.sopList) == 0) {
        return fail(MSM_NO_SUPPORT_LIST, LOG_VALIDATION, "DcMsm::connect", "List of SOPs is absent");
    }
    if (const int result = checkIdentity(nullptr, info.implClassUid, info.implVerName); result != RESULT_OK) {
        return result;
    }
    resetAssoInfo();
    (void)setAeTitleAccept(info.callingAeTitles);
    (void)setSopXferAccept(info.sopList);
    reception().learnsClasses =
        std::ranges::find(own_->support, MSM_SOP_UNKNOWN, &DcMsmSopXferSyn::sopClass) != own_->support.end();
    own_->maxPduLen = info.maxPduLen;
    copyText(own_->implClassUid, info.implClassUid);
    copyText(own_->implVerName, info.implVerName);
    (void)setTimeoutInfo(info.timeouts);
    return accept(block);
}

int DcMsm::connect(unsigned int connection, unsigned int listener, DcMsmScpInfo& info,
                   MSM_BLOCK_CONNECT block) {
    if ((role_ & TSM_ROLE_SCP) == 0) return TUL_NOT_SCP;
    (void)setSockHandles(TSM_ROLE_SCP, connection, listener);
    return connect(info, block);
}

int DcMsm::accept(MSM_BLOCK_CONNECT block) {
    if (isConnected()) return RESULT_OK;
    acceptMode_ = block == MSM_BLOCK_CONNECT_POLL ? TSM_BLOCK_POLL : TSM_BLOCK_WAIT;
    // Whatever ended the last association: without a connection the next one begins from the first state.
    setState(TSM_STATE_01_IDLE);
    const int result = event04_connectScp();
    return result == TSM_ACCEPT_TIMEOUT ? MSM_CONNECT_TIMEOUT : result;
}

// ---- ending -----------------------------------------------------------------------------------------

int DcMsm::releaseAssociation() {
    resetAssoInfo();
    return event10_writeRelRqPdu();
}

int DcMsm::abortAssociation() {
    resetAssoInfo();
    return event14_writeAbortPdu();
}

int DcMsm::closeAssociation() {
    resetAssoInfo();
    closeTransport();
    return RESULT_OK;
}

// The event closes the connection in most states; none may be left, whatever the state was.
void DcMsm::closeTransport() {
    if (!isConnected()) return;
    (void)event16_closeTrans();
    closeSockConv();
}

// ---- questions --------------------------------------------------------------------------------------

int DcMsm::getAssoInfo(DcMsmAssoInfo& info) const {
    info = own_->asso;
    return RESULT_OK;
}

DcPduNegotiation& DcMsm::ownNegotiation() {
    return own_->ownNegotiation;
}
const DcPduNegotiation& DcMsm::peerNegotiation() const {
    return own_->peerNegotiation;
}

int DcMsm::registerRequestCB(void* user, DcMsmRequestCB callback) {
    own_->requestUser = user;
    own_->requestCB = callback;
    return RESULT_OK;
}

int DcMsm::getReadDumpHandle(int& handle) const {
    handle = readDumpHandle_;
    return RESULT_OK;
}
int DcMsm::setReadDumpHandle(int handle) {
    readDumpHandle_ = handle;
    return RESULT_OK;
}
int DcMsm::getStreamHandle(unsigned int& handle) const {
    handle = streamHandle_;
    return RESULT_OK;
}
unsigned int DcMsm::setStreamHandle(unsigned int handle) {
    streamHandle_ = handle;
    return RESULT_OK;
}

namespace {

const char* resultName(int result) {
    constexpr const char* names[] = {"Accept", "User Rejected", "Rejected without reason", "SOP rejected",
                                     "Transfer Syntax rejected"};
    return result >= 0 && result < static_cast<int>(std::size(names)) ? names[result] : "Unknown/unsupported";
}

const char* roleName(int role) {
    constexpr const char* names[] = {"None", "SCP", "SCU", "SCU/SCP"};
    return names[role & 3];
}

}  // namespace

int DcMsm::printAssoInfo(const char* file, const char* mode) {
    constexpr const char* reporter = "DcMsm::printAssoInfo";
    if (file == nullptr || mode == nullptr) return failNull(MSM_PRINT, reporter);
    const std::unique_ptr<FILE, int (*)(FILE*)> out(platform::openStream(file, mode), &std::fclose);
    if (out == nullptr) {
        return fail(MSM_PRINT, LOG_VALIDATION, reporter, "Error opening file %s in mode %s", file, mode);
    }
    FILE* const f = out.get();
    const DcMsmAssoInfo& asso = own_->asso;
    std::fprintf(f, "IP Address     : %s", asso.peerAddress);
    std::fprintf(f, "(%s)\n", own_->hostName);
    std::fprintf(f, "CallingAeTitle : %s\n", asso.callingAeTitle);
    std::fprintf(f, "CalledAeTitle  : %s\n", asso.calledAeTitle);
    std::fprintf(f, "ImplClassUid   : %s\n", asso.implClassUid);
    std::fprintf(f, "ImplVerName    : %s\n", asso.implVerName);
    std::fprintf(f, "MaxPduLen      : %d\n", static_cast<int>(asso.maxPduLen));
    std::fprintf(f, "AssoNum        : %d\n", asso.assoNum);
    std::fprintf(f, "\n    ID     SOP Class                Transfer Syntax       Result   Role\n\n");
    for (int i = 0; i < asso.assoNum; ++i) {
        std::fprintf(f, "%02d. %-24.24s %22.22s  %s  %s\n", asso.presCtxId[i], uidName(asso.sopClass[i]),
                     uidName(asso.xferSyn[i]), resultName(asso.result[i]), roleName(asso.role[i]));
    }
    return RESULT_OK;
}
