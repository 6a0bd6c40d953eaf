// Retrieving over the association that asks (C-GET, PS3.4 annex C).
#include "services/user.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "dictionary/syntax_table.h"
#include "orvkit/keywords.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "platform/stop.h"
#include "services/accepted_uids.h"
#include "services/charset.h"
#include "services/network_text.h"
#include "services/paths.h"
#include "services/progress.h"
#include "services/report.h"
#include "services/retrieve.h"
#include "services/store_file.h"
#include "services/whole_file.h"

namespace services {
namespace {

constexpr unsigned short kNoDataset = 0x0101;

// Contexts for storage classes with the uncompressed transfer syntaxes, and for images one more with
// compressed ones: the peer takes one syntax of each context. An association has room for half of today's
// classes: those of 2008 come first, retired ones not at all.
std::vector<DcMsmSopXferSyn> storageContexts() {
    std::vector<DICT_UID> native;
    std::vector<DICT_UID> compressed;
    for (const orvkit::SyntaxRow& row : orvkit::syntax_table::rows) {
        if (row.asked) (orvkit::isUncompressed(row.syntax) ? native : compressed).push_back(row.syntax);
    }
    std::vector<DcMsmSopXferSyn> contexts;
    std::vector<DcMsmSopXferSyn> later;
    std::vector<DcMsmSopXferSyn> images;
    for (const StorageClass& each : storageClasses()) {
        if (each.retired) continue;
        const bool old = each.value <= UID_GE_MACHINE_STORAGE;
        (old ? contexts : later).push_back(context(each.value, native, TSM_ROLE_SCP));
        if (old && each.isImage) images.push_back(context(each.value, compressed, TSM_ROLE_SCP));
    }
    contexts.insert(contexts.end(), images.begin(), images.end());
    contexts.insert(contexts.end(), later.begin(), later.end());
    if (contexts.size() > MSM_PROPOSAL_MAX - 1) contexts.resize(MSM_PROPOSAL_MAX - 1);  // one is the model's
    return contexts;
}

DICT_UID getModel(const QueryOptions& options) {
    if (options.withoutBulkData) return DcUid::CompositeInstanceRetrieveWithoutBulkDataGet;
    if (options.instanceRoot()) return DcUid::CompositeInstanceRootRetrieveGet;
    return options.patientRoot() ? UID_PAT_ROOT_Q_R_GET : UID_STUDY_ROOT_Q_R_GET;
}

class Getter {
  public:
    Getter(const QueryOptions& options, const std::string& directory, const QueryKeys& keys)
        : options_(options),
          directory_(directory),
          model_(getModel(options)),
          keys_(keys),
          association_(options),
          account_(options),
          progress_("got", 0) {}

    int run() {
        if (!openFor(association_, options_, model_, storageContexts())) return EXIT_FAILED;
        DcCmdCGetRq request;
        fillRequest(request, model_, keys_);
        Answers answers(association_, options_, model_);
        bool going = association_.send(request, model_);
        while (going && !account_.ended()) going = answers.await() && next(answers);
        progress_.clear();
        const int status = account_.finish(answers.fault());
        const bool cancelled = answers.tellCancelled();
        association_.release();
        return stored_ && !cancelled && status == EXIT_OK ? EXIT_OK : EXIT_FAILED;
    }

  private:
    bool next(Answers& answers) {
        const std::unique_ptr<DcMsg> message = association_.receivePart();
        if (message == nullptr) return false;
        if (auto* request = dynamic_cast<DcCmdCStoreRq*>(message.get())) return store(*request, answers);
        if (!association_.isAnswer(*message, DICT_MSG_C_GET_RSP)) return false;
        unsigned short dataset = kNoDataset;
        (void)message->getValue(T_0000_0800_dataSetType, dataset);
        // A data set names the instances that failed; their number is in the response.
        if (dataset != kNoDataset && association_.receivePart() == nullptr) return false;
        if (account_.response(*message)) answers.gain();
        return true;
    }

    bool store(DcCmdCStoreRq& request, Answers& answers) {
        char instance[80] = "";  // room to see that it is longer than a UID can be
        DICT_UID sopClass = UID_NONE;
        (void)request.getValue(T_0000_1000_affectedSopInstanceUid, instance, sizeof instance - 1);
        (void)request.getValue(T_0000_0002_affectedSopClassUid, sopClass);
        Incoming incoming(directory_);
        incoming.file.describe(sopClass, instance, options_.aec);
        unsigned short follows = 0;
        (void)request.getValue(T_0000_0800_dataSetType, follows);
        if (follows != kNoDataset) {
            answers.awaitObject();
            if (!receiveDataset(incoming)) return false;
        }
        const unsigned short status = keep(incoming.file, instance);
        if (status == kStoreSuccess) answers.gain();
        DcCmdCStoreRsp response(&request);
        (void)response.add(new DcElem(T_0000_0900_status, status));
        DcPduInfoTf info;
        (void)response.getInfo(info);
        return association_.check(association_.msm().write(info.presCtxId, &response), RESULT_OK);
    }

    // An object on its way to its file; a signal that ends the program removes it.
    struct Incoming {
        explicit Incoming(const std::string& directory) : file(directory, true) {}
        Incoming(const Incoming&) = delete;
        Incoming& operator=(const Incoming&) = delete;
        ~Incoming() { (void)orvkit::platform::removeWhenEnded(""); }
        StoreFile file;
    };

    static int take(void* self, const unsigned char* data, unsigned int length, DICT_UID xferSyn, int last) {
        StoreFile& file = static_cast<Incoming*>(self)->file;
        const bool first = file.temporaryPath().empty();
        const int result = StoreFile::take(&file, data, length, xferSyn, last);
        if (first) (void)orvkit::platform::removeWhenEnded(file.temporaryPath().c_str());
        return result;
    }
    static unsigned char* room(void* self, unsigned int* size) {
        return StoreFile::room(&static_cast<Incoming*>(self)->file, size);
    }

    // An object goes to its file as it comes; what else has a data set is held in memory, up to a bound.
    bool receiveDataset(Incoming& incoming) {
        DcMsm& msm = association_.msm();
        (void)msm.registerDataSetCB(&incoming, &Getter::take, &Getter::room);
        const std::unique_ptr<DcMsg> part = association_.receivePart();
        (void)msm.registerDataSetCB(nullptr, nullptr);
        if (part == nullptr || part->getType() == MSG_TYPE_DATASET) return part != nullptr;
        association_.refuse(*part);
        return false;
    }

    // The status for the response (PS3.4 B.2.3).
    unsigned short keep(StoreFile& file, const std::string& instance) {
        if (isUid(instance) && file.commit(directory_ + "/" + instance + ".dcm")) {
            progress_.step();
            return kStoreSuccess;
        }
        stored_ = false;
        progress_.clear();
        if (isUid(instance)) {
            complain("%s: not stored: %s", instance.c_str(), file.fault().c_str());
            return file.status();
        }
        complain("'%s' is not a SOP Instance UID: the object is not stored", withEscapes(instance).c_str());
        return kStoreCannotUnderstand;
    }

    const QueryOptions& options_;
    const std::string& directory_;
    DICT_UID model_;
    const QueryKeys& keys_;
    Association association_;
    Retrieval account_;
    Progress progress_;
    bool stored_ = true;
};

}  // namespace

int get(const QueryOptions& options, const std::string& directory) {
    QueryKeys keys;
    if (!keys.parse(options)) return EXIT_USAGE;
    std::error_code error;
    std::filesystem::create_directories(pathOf(directory), error);
    if (!std::filesystem::is_directory(pathOf(directory)))
        return failed("%s: %s", directory.c_str(), error ? error.message().c_str() : "not a directory");
    return Getter(options, directory, keys).run();
}

}  // namespace services
