// One association as a service class user, from opening to release.
#ifndef ORVKIT_SERVICES_ASSOCIATION_H
#define ORVKIT_SERVICES_ASSOCIATION_H

#include <memory>
#include <string>
#include <vector>

#include "orvkit/msm.h"
#include "orvkit/negotiation.h"
#include "services/peer.h"

namespace services {

constexpr unsigned int kPeerPace = 1024;  // bytes a second that a peer must bring at least

// What a peer sends is bounded: a PDU and a message by the options' time-out, what is held of a message in
// memory by 16 MB, and a data set comes only behind a command that has one.
class Association {
  public:
    explicit Association(const PeerOptions& options) : options_(options) {}
    Association(const Association&) = delete;
    Association& operator=(const Association&) = delete;
    // Aborts what was not released.
    ~Association();

    // What open() proposes beside contexts and the identity: extended negotiation of SOP classes (PS3.7
    // D.3.3.5, D.3.3.6).
    DcPduNegotiation& proposed() { return proposed_; }
    // What the peer answered to the extended negotiation of a class; nothing when it did not.
    std::vector<unsigned char> agreed(DICT_UID sopClass) const;
    // At most MSM_PROPOSAL_MAX contexts. False: fault() tells why.
    [[nodiscard]] bool open(std::vector<DcMsmSopXferSyn> contexts);
    // Waits, that many milliseconds at most, until something comes from the peer or its connection ends.
    bool waitReadable(int milliseconds) const;
    // How long the next messages may take, each from the call that receives it to its last byte: so many
    // seconds, and one more for every `bytesPerSecond` bytes that have come (0: not for bytes). The options'
    // time-out, unless set.
    void setPatience(int seconds, unsigned int bytesPerSecond = 0);
    // Asks for the release and waits for the answer, as long as for a message, whatever else comes.
    void release();
    void abort();
    bool isOpen() const { return msm_ != nullptr && msm_->isConnected(); }

    // The result of the context that was proposed for the SOP class, in that transfer syntax if one is given:
    // PRES_CTX_AC_RESULT.
    int contextResult(DICT_UID sopClass, DICT_UID xferSyn = UID_NONE) const;

    // The first of those syntaxes in which the peer has accepted a context of the SOP class; UID_NONE: none.
    DICT_UID acceptedSyntax(DICT_UID sopClass, const std::vector<DICT_UID>& wanted) const;

    // Sends a request with its data set, and receives the next message; null on failure. What failed closes
    // the association where that can not go on.
    [[nodiscard]] bool send(DcMsg& request, DICT_UID sopClass, DICT_UID xferSyn = UID_NONE);
    std::unique_ptr<DcMsg> receive();
    // One command without its data set, or one data set.
    std::unique_ptr<DcMsg> receivePart();
    // As receive, for one response of that type to the request that was sent last.
    std::unique_ptr<DcMsg> receive(MSG_TYPE type);
    // Whether it is one; if not, aborts.
    [[nodiscard]] bool isAnswer(DcMsg& message, MSG_TYPE type);

    // Asks the peer to stop answering the request that was sent last (C-CANCEL, PS3.7 9.3.2.3). Its final
    // response is still to come.
    void cancel(DICT_UID sopClass);

    // Aborts because of a message that has no place here, or for another reason.
    void refuse(const DcMsg& message);
    void giveUp(const std::string& why);

    // Takes a result of the library: true for `wanted`, or else fault() tells what it means.
    [[nodiscard]] bool check(int result, int wanted);
    DcMsm& msm() { return *msm_; }
    const std::string& fault() const { return fault_; }

  private:
    bool giveIdentity();
    std::unique_ptr<DcMsg> receiveBy(int (DcMsm::*read)(DICT_UID*, DcMsg**, MSM_BLOCK_READ,
                                                        MSM_BLOCK_CONNECT));

    const PeerOptions& options_;
    std::vector<DcMsmSopXferSyn> contexts_;
    DcPduNegotiation proposed_;
    std::unique_ptr<DcMsm> msm_;
    unsigned short messageId_ = 0;  // of the last request
    std::string fault_;
};

// Takes the data set out of a message, whose command stays.
void takeDataset(DcMsg& message, DcElemList& dataset);

// A context with one SOP class and its transfer syntaxes.
DcMsmSopXferSyn context(DICT_UID sopClass, std::vector<DICT_UID> xferSyns, TSM_ROLE role = TSM_ROLE_NONE);

}  // namespace services

#endif
