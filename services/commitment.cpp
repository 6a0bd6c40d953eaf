#include "services/commitment.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <iterator>
#include <string_view>

#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"
#include "services/elements.h"
#include "services/handlers.h"
#include "services/peer.h"
#include "services/provider.h"

namespace services {
namespace {

// Of all requests that are being read at a time.
constexpr std::size_t kMostBytesAtOnce = 3 * kMostCommitmentBytes;
std::atomic<std::size_t> bytesAtOnce = 0;

// The bytes of a data set, as they come; what is too much is passed over.
class BoundedBytes {
  public:
    BoundedBytes() = default;
    BoundedBytes(const BoundedBytes&) = delete;
    BoundedBytes& operator=(const BoundedBytes&) = delete;
    ~BoundedBytes() { bytesAtOnce -= held_; }

    static int take(void* self, const unsigned char* data, unsigned int length, DICT_UID xferSyn, int) {
        static_cast<BoundedBytes*>(self)->add(data, length, xferSyn);
        return RESULT_OK;
    }
    bool tooMany() const { return tooMany_; }
    DICT_UID xferSyn() const { return xferSyn_; }
    std::string& bytes() { return bytes_; }
    // Items cost more in memory than on the wire: their headers are counted before any is made.
    std::size_t items() const {
        const bool big = xferSyn_ == UID_BIG_ENDIAN_EXPLICIT;
        const std::string_view tag =
            big ? std::string_view("\xFF\xFE\xE0\x00", 4) : std::string_view("\xFE\xFF\x00\xE0", 4);
        std::size_t count = 0;
        for (std::size_t at = bytes_.find(tag); at != std::string::npos; at = bytes_.find(tag, at + 4))
            ++count;
        return count;
    }

  private:
    void add(const unsigned char* data, unsigned int length, DICT_UID xferSyn) {
        xferSyn_ = xferSyn;
        if (tooMany_ || length == 0) return;
        held_ += length;
        tooMany_ = (bytesAtOnce += length) > kMostBytesAtOnce || held_ > kMostCommitmentBytes;
        if (!tooMany_) {
            bytes_.append(data, data + length);
            return;
        }
        std::string().swap(bytes_);
        bytesAtOnce -= held_;
        held_ = 0;
    }

    DICT_UID xferSyn_ = UID_NONE;
    std::string bytes_;
    std::size_t held_ = 0;
    bool tooMany_ = false;
};

void addText(DcElemList& list, unsigned int tag, const std::string& text) {
    (void)list.add(new DcElem(tag, text.c_str()));
}

// The items of one kind, with their reasons or without.
void addItems(DcElemList& list, unsigned int tag, const Commitment& commitment, bool committed) {
    auto sequence = std::make_unique<DcElemSq>(tag);
    for (const CommitmentItem& each : commitment.items) {
        if ((each.reason == kCommitted) != committed) continue;
        DcElemSqItem* const item = sequence->add(new DcElemSqItem());
        addText(item->getElemList(), T_0008_1150_referencedSopClassUid, each.sopClass);
        addText(item->getElemList(), T_0008_1155_referencedSopInstanceUid, each.instance);
        if (!committed) (void)item->getElemList().add(new DcElem(T_0008_1197_failureReason, each.reason));
    }
    if (sequence->first() != nullptr) (void)list.add(sequence.release());
}

// "" or what is wrong with it.
std::string takeItem(DcElemList& list, bool failed, Commitment& commitment) {
    CommitmentItem item;
    item.sopClass = textOf(list, T_0008_1150_referencedSopClassUid);
    item.instance = textOf(list, T_0008_1155_referencedSopInstanceUid);
    if (!isUid(item.sopClass) || !isUid(item.instance)) return "a reference lacks its class or its instance";
    if (failed &&
        (list.getValue(T_0008_1197_failureReason, item.reason) != RESULT_OK || item.reason == kCommitted))
        item.reason = kProcessingFailure;
    commitment.items.push_back(std::move(item));
    return "";
}

std::string takeItems(DcElemList& list, unsigned int tag, bool failed, Commitment& commitment) {
    auto* const sequence = dynamic_cast<DcElemSq*>(elementOf(list, tag));
    if (sequence == nullptr) return elementOf(list, tag) == nullptr ? "" : "its references are no sequence";
    for (DcElemSqItem* item = sequence->first(); item != nullptr; item = item->next()) {
        if (std::string fault = takeItem(item->getElemList(), failed, commitment); !fault.empty())
            return fault;
    }
    return "";
}

std::string faultOf(DcElemList& dataset, bool isReport, Commitment& commitment) {
    commitment.transaction = textOf(dataset, T_0008_1195_transactionUid);
    if (!isUid(commitment.transaction)) return "it has no valid Transaction UID";
    std::string fault = takeItems(dataset, T_0008_1199_referencedSopSequence, false, commitment);
    if (fault.empty() && isReport)
        fault = takeItems(dataset, T_0008_1198_failedSopSequence, true, commitment);
    if (fault.empty() && commitment.items.empty()) fault = "it refers to nothing";
    return fault;
}

}  // namespace

std::string reasonText(unsigned short reason) {
    static constexpr struct {
        unsigned short reason;
        const char* text;
    } rows[] = {
        {kProcessingFailure, "processing failure"},
        {kNoSuchInstance, "no such object instance"},
        {kOtherClassOfInstance, "class and instance conflict"},
        {0x0122, "SOP class not supported"},
        {kTransactionInUse, "the transaction is in use already"},
        {kResourceLimit, "resource limitation"},
    };
    char code[16];
    std::snprintf(code, sizeof code, "0x%04X", static_cast<unsigned int>(reason));
    const auto* const row = std::ranges::find(rows, reason, [](const auto& each) { return each.reason; });
    return row == std::end(rows) ? code : std::string(code) + " (" + row->text + ")";
}

unsigned short Commitment::event() const {
    return std::ranges::all_of(items, [](const CommitmentItem& each) { return each.reason == kCommitted; })
               ? kAllCommitted
               : kFailuresExist;
}

std::unique_ptr<DcElemList> requestOf(const Commitment& commitment) {
    auto list = std::make_unique<DcElemList>();
    addText(*list, T_0008_1195_transactionUid, commitment.transaction);
    addItems(*list, T_0008_1199_referencedSopSequence, commitment, true);
    return list;
}

std::unique_ptr<DcElemList> reportOf(const Commitment& commitment, const std::string& retrieveAet) {
    std::unique_ptr<DcElemList> list = requestOf(commitment);
    addText(*list, T_0008_0054_retrieveAeTitle, retrieveAet);
    addItems(*list, T_0008_1198_failedSopSequence, commitment, false);
    return list;
}

void takeCommitment(DcElemList& dataset, bool isReport, ReceivedCommitment& received) {
    received.fault = faultOf(dataset, isReport, received.what);
    if (!received.fault.empty()) received.status = kInvalidArgument;
}

bool receiveCommitment(Provider& provider, DcMsg& message, bool isReport, ReceivedCommitment& received) {
    unsigned short follows = kNoDataSet;
    (void)message.getValue(T_0000_0800_dataSetType, follows);
    BoundedBytes bytes;
    if (follows != kNoDataSet) {
        (void)provider.msm().registerDataSetCB(&bytes, &BoundedBytes::take);
        const bool whole = provider.receive(message, "a commitment") != nullptr;
        (void)provider.msm().registerDataSetCB(nullptr, nullptr);
        if (!whole) return false;
    }
    if (bytes.tooMany() || bytes.items() > kMostReferences) {
        received.status = kResourceLimit;
        received.fault = "it has more than " + std::to_string(kMostReferences) + " references";
        return true;
    }
    DcElemList dataset;
    auto length = static_cast<unsigned int>(bytes.bytes().size());
    if (length != 0 && dataset.parse(bytes.bytes().data(), length, bytes.xferSyn()) != RESULT_OK) {
        received.status = kInvalidArgument;
        received.fault = "its data set cannot be read";
        return true;
    }
    takeCommitment(dataset, isReport, received);
    return true;
}

unsigned short faultOfReport(DcMsg& command) {
    DICT_UID sopClass = UID_NONE;
    unsigned short event = 0;
    (void)command.getValue(T_0000_0002_affectedSopClassUid, sopClass);
    (void)command.getValue(T_0000_1002_eventTypeId, event);
    if (sopClass != UID_STORAGE_COMMITMENT_PUSH_CLASS) return kNoSuchClass;
    return event == kAllCommitted || event == kFailuresExist ? kCommitted : kNoSuchEventType;
}

DcMsmSopXferSyn commitmentContext(TSM_ROLE role) {
    DICT_UID xferSyns[] = {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT, UID_BIG_ENDIAN_EXPLICIT,
                           UID_NONE};
    return {UID_STORAGE_COMMITMENT_PUSH_CLASS, xferSyns, role};
}

}  // namespace services
