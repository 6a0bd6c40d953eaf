// DcIndex: what is thrown inside becomes a result here.
#include "orvkit/index.h"

#include <ctime>
#include <new>
#include <stdexcept>

#include "foundation/text.h"
#include "index/care.h"
#include "index/copy.h"
#include "index/group_commit.h"
#include "index/readers.h"
#include "index/schema.h"
#include "index/search.h"
#include "index/selection.h"
#include "index/trouble.h"
#include "orvkit/log.h"
#include "orvkit/result.h"

using namespace orvkit::index;

struct DcIndex::Own {
    std::unique_ptr<Engine> engine;
    std::unique_ptr<Readers> readers;     // null where nothing can be asked
    std::unique_ptr<GroupCommit> writer;  // null where nothing can be stored

    Readers::Lease reader() const {
        if (readers == nullptr) fail(INDEX_CLOSED, "the index is not open for reading");
        return readers->take();
    }
    GroupCommit& writing() const {
        if (writer == nullptr) fail(INDEX_CLOSED, "the index is not open for writing");
        return *writer;
    }
};

namespace {

// Nothing with a destructor: where memory is short, the C library cannot note that and ends the program.
thread_local char lastFault_[1024];

bool isRefusal(int result) {
    return result == INDEX_KEYS || result == INDEX_IDENTITY || result == INDEX_NULL_ARGUMENT ||
           result == INDEX_ABSENT;
}

int tell(int result, const char* reporter, const std::string& text) {
    orvkit::copyText(lastFault_, text);
    (void)logReport(isRefusal(result) ? LOG_VALIDATION : LOG_ERROR, reporter, "%s", text.c_str());
    return result;
}

// Whatever `work` gives, or what has kept it from that.
template <typename Work>
int guarded(const char* reporter, Work work) noexcept {
    try {
        lastFault_[0] = '\0';
        return work();
    } catch (const Trouble& trouble) {
        return tell(trouble.result, reporter, trouble.text);
    } catch (const std::bad_alloc&) {
        (void)logReport(LOG_ERROR, reporter, "Memory allocation failed");
        return ELEM_NO_MEMORY;
    } catch (const std::exception& fault) {
        (void)logReport(LOG_ERROR, reporter, "%s", fault.what());
        return INDEX_ENGINE;
    }
}

int nullArgument(const char* reporter) {
    return tell(INDEX_NULL_ARGUMENT, reporter, "Null argument passed");
}

// Instances for callbacks.
class InstanceGiver {
  public:
    InstanceGiver(Terms& terms, void* context, DcIndexInstanceCB callback)
        : terms_(terms), context_(context), callback_(callback) {}

    // True: go on.
    bool give(const SelectedSeries& series, const SelectedInstance& one) {
        const std::string path = wholePath(one.path, one.uid);
        const DcIndexInstance instance{path.c_str(),
                                       terms_.uid(one.sopClass).c_str(),
                                       one.uid.c_str(),
                                       terms_.uid(one.syntax).c_str(),
                                       series.studyUid.c_str(),
                                       series.seriesUid.c_str(),
                                       static_cast<unsigned long long>(one.size)};
        return callback_(context_, instance) == 0;
    }
    bool give(Session& session, Level level, const SelectedSeries& series) {
        return eachInstance(session, level, series,
                            [&](const SelectedInstance& one) { return give(series, one); });
    }

  private:
    Terms& terms_;
    void* context_;
    DcIndexInstanceCB callback_;
};

// What has one SOP Instance UID.
Request byInstance(const char* uid) {
    Request request;
    request.level = Level::image;
    Key key;
    key.tag = rowOf(Level::image).unique;
    key.vr = VR_UI;
    key.values = {uid};
    request.narrowing = {key};
    return request;
}

SelectedInstance buriedOf(Statement& row) {
    return {std::string(row.text(2)), 0, row.integer(4), row.integer(5), row.integer(6),
            std::string(row.text(3))};
}

}  // namespace

DcIndex::DcIndex() : own_(new Own) {}

DcIndex::~DcIndex() {
    delete own_;
}

int DcIndex::open(const char* where, INDEX_OPEN how) {
    if (where == nullptr) return nullArgument("DcIndex::open");
    return guarded("DcIndex::open", [&] {
        Own made;
        made.engine = openEngine(where, how, false);
        std::unique_ptr<Session> session = made.engine->connect(how != INDEX_READ);
        settleSchema(*session, how);
        if (how != INDEX_READ) made.writer = std::make_unique<GroupCommit>(std::move(session));
        made.readers = std::make_unique<Readers>(*made.engine);
        close();
        *own_ = std::move(made);
        return RESULT_OK;
    });
}

int DcIndex::openFast(const char* where) {
    if (where == nullptr) return nullArgument("DcIndex::openFast");
    return guarded("DcIndex::openFast", [&] {
        Own made;
        made.engine = openEngine(where, INDEX_CREATE, true);
        std::unique_ptr<Session> session = made.engine->connect(true);
        settleSchema(*session, INDEX_CREATE);
        made.writer = std::make_unique<GroupCommit>(std::move(session));
        close();
        *own_ = std::move(made);
        return RESULT_OK;
    });
}

int DcIndex::close() {
    own_->readers.reset();
    own_->writer.reset();
    own_->engine.reset();
    return RESULT_OK;
}

int DcIndex::store(DcElemList& dataset, const DcIndexFile& file, INDEX_DUPLICATE duplicate,
                   DcIndexStored& stored) {
    return guarded("DcIndex::store", [&] {
        GroupCommit& writer = own_->writing();
        const Record record = makeRecord(dataset, file);
        writer.store({&record, duplicate, &stored});
        return RESULT_OK;
    });
}

int DcIndex::query(const DcIndexQuery& how, DcElemList& keys, void* context, DcIndexAnswerCB answer,
                   DcIndexFound& found) {
    if (answer == nullptr) return nullArgument("DcIndex::query");
    return guarded("DcIndex::query", [&] {
        const Readers::Lease reader = own_->reader();
        if (how.root == INDEX_ROOT_INSTANCE) fail(INDEX_KEYS, "instances alone are retrieved, not queried");
        const Request request = makeRequest(how.root, how.how, keys);
        return search(reader.session(), reader.terms(), request, how, context, answer, found);
    });
}

int DcIndex::walk(INDEX_ROOT root, unsigned int how, DcElemList& keys, void* context,
                  DcIndexInstanceCB instance) {
    if (instance == nullptr) return nullArgument("DcIndex::walk");
    return guarded("DcIndex::walk", [&] {
        const Readers::Lease reader = own_->reader();
        const Request selection = makeSelection(root, how, keys);
        InstanceGiver giver(reader.terms(), context, instance);
        for (const SelectedSeries& series : selectSeries(reader.session(), selection)) {
            if (!giver.give(reader.session(), selection.level, series)) return INDEX_STOPPED;
        }
        return RESULT_OK;
    });
}

int DcIndex::count(INDEX_ROOT root, unsigned int how, DcElemList& keys, unsigned long long& instances,
                   unsigned long long& bytes) {
    return guarded("DcIndex::count", [&] {
        const Readers::Lease reader = own_->reader();
        const Request selection = makeSelection(root, how, keys);
        instances = 0;
        bytes = 0;
        for (const SelectedSeries& series : selectSeries(reader.session(), selection)) {
            if (selection.level != Level::image) {
                instances += series.instances;
                bytes += series.bytes;
                continue;
            }
            (void)eachInstance(reader.session(), selection.level, series, [&](const SelectedInstance& one) {
                ++instances;
                bytes += static_cast<unsigned long long>(one.size);
                return true;
            });
        }
        return RESULT_OK;
    });
}

int DcIndex::lookUp(const char* sopInstance, void* context, DcIndexInstanceCB instance) {
    if (sopInstance == nullptr || instance == nullptr) return nullArgument("DcIndex::lookUp");
    return guarded("DcIndex::lookUp", [&] {
        const Readers::Lease reader = own_->reader();
        const Request selection = byInstance(sopInstance);
        InstanceGiver giver(reader.terms(), context, instance);
        for (const SelectedSeries& series : selectSeries(reader.session(), selection)) {
            if (!giver.give(reader.session(), selection.level, series)) return INDEX_STOPPED;
        }
        return RESULT_OK;
    });
}

int DcIndex::walkAll(void* context, DcIndexInstanceCB instance) {
    if (instance == nullptr) return nullArgument("DcIndex::walkAll");
    return guarded("DcIndex::walkAll", [&] {
        constexpr std::size_t page = 500;
        const Readers::Lease reader = own_->reader();
        InstanceGiver giver(reader.terms(), context, instance);
        std::int64_t behind = 0;
        for (;;) {
            const std::vector<SelectedSeries> all = nextSeries(reader.session(), behind, page);
            for (const SelectedSeries& series : all) {
                if (!giver.give(reader.session(), Level::series, series)) return INDEX_STOPPED;
            }
            if (all.size() < page) return RESULT_OK;
            behind = all.back().series;
        }
    });
}

int DcIndex::describe(const char* study, const char* series, const char* sopInstance, void* context,
                      DcIndexAnswerCB answer) {
    if (study == nullptr || series == nullptr || answer == nullptr) return nullArgument("DcIndex::describe");
    return guarded("DcIndex::describe", [&] {
        const Readers::Lease reader = own_->reader();
        return describeInstances(reader.session(), reader.terms(), study, series,
                                 sopInstance != nullptr ? sopInstance : "", context, answer);
    });
}

int DcIndex::bury(INDEX_ROOT root, unsigned int how, DcElemList& keys, DcIndexGrave& grave) {
    return guarded("DcIndex::bury", [&] {
        GroupCommit& writer = own_->writing();
        const Request selection = makeSelection(root, how, keys);
        const std::int64_t now = std::time(nullptr);
        writer.run([&](Rows& rows) { rows.bury(selection, now, grave); });
        return RESULT_OK;
    });
}

int DcIndex::walkGraves(void* context, DcIndexGraveCB grave) {
    if (grave == nullptr) return nullArgument("DcIndex::walkGraves");
    return guarded("DcIndex::walkGraves", [&] {
        const Readers::Lease reader = own_->reader();
        const auto find = reader.session().stream("SELECT id, instances, bytes, made FROM grave ORDER BY id");
        while (find->step()) {
            const DcIndexGrave one{static_cast<unsigned long long>(find->integer(0)),
                                   static_cast<unsigned long long>(find->integer(1)),
                                   static_cast<unsigned long long>(find->integer(2)), find->integer(3)};
            if (grave(context, one) != 0) return INDEX_STOPPED;
        }
        return RESULT_OK;
    });
}

int DcIndex::walkGrave(unsigned long long number, void* context, DcIndexInstanceCB instance) {
    if (instance == nullptr) return nullArgument("DcIndex::walkGrave");
    return guarded("DcIndex::walkGrave", [&] {
        const Readers::Lease reader = own_->reader();
        const auto grave = reader.session().prepare("SELECT 1 FROM grave WHERE id = $1");
        if (!grave->run(number)) fail(INDEX_ABSENT, "there is no grave " + std::to_string(number));
        const auto find = reader.session().stream(
            "SELECT study, series, uid, path, class, syntax, size FROM grave_instance WHERE grave = $1");
        InstanceGiver giver(reader.terms(), context, instance);
        for (bool more = find->run(number); more; more = find->step()) {
            SelectedSeries series;
            series.studyUid = find->text(0);
            series.seriesUid = find->text(1);
            if (!giver.give(series, buriedOf(*find))) return INDEX_STOPPED;
        }
        return RESULT_OK;
    });
}

int DcIndex::closeGrave(unsigned long long number) {
    return guarded("DcIndex::closeGrave", [&] {
        own_->writing().run([number](Rows& rows) { rows.closeGrave(static_cast<std::int64_t>(number)); });
        return RESULT_OK;
    });
}

int DcIndex::forget(const char* sopInstance, const char* path) {
    if (sopInstance == nullptr || path == nullptr) return nullArgument("DcIndex::forget");
    return guarded("DcIndex::forget", [&] {
        own_->writing().run([&](Rows& rows) { rows.forgetFile(sopInstance, path); });
        return RESULT_OK;
    });
}

int DcIndex::copyAll(const DcIndex& from, void* context, DcIndexProgressCB progress) {
    if (progress == nullptr) return nullArgument("DcIndex::copyAll");
    return guarded("DcIndex::copyAll", [&] {
        GroupCommit& writer = own_->writing();
        const Readers::Lease reader = from.own_->reader();
        unsigned long long seen = 0;
        const auto take = [&](std::vector<Record>& records) {
            DcIndexStored stored;
            std::vector<Arrival> arrivals;
            arrivals.reserve(records.size());
            for (const Record& record : records) arrivals.push_back({&record, INDEX_BOTH, &stored});
            writer.run([&](Rows& rows) { rows.store(arrivals); });
            seen += records.size();
            return progress(context, seen) == 0;
        };
        return eachRecord(reader.session(), reader.terms(), take) ? RESULT_OK : INDEX_STOPPED;
    });
}

int DcIndex::stats(DcIndexStats& stats) {
    return guarded("DcIndex::stats", [&] {
        stats = statsOf(own_->reader().session());
        return RESULT_OK;
    });
}

int DcIndex::verify(void* context, DcIndexFaultCB fault) {
    if (fault == nullptr) return nullArgument("DcIndex::verify");
    return guarded("DcIndex::verify", [&] {
        const Readers::Lease reader = own_->reader();
        const auto tellFault = [&](const std::string& text) { return fault(context, text.c_str()) == 0; };
        return orvkit::index::verify(reader.session(), tellFault) ? RESULT_OK : INDEX_STOPPED;
    });
}

const char* DcIndex::fault() noexcept {
    return lastFault_;
}

DcIndexBusy::DcIndexBusy(DcIndex& index) noexcept : index_(index), announced_(index.own_->writer != nullptr) {
    if (announced_) index_.own_->writer->announce(1);
}

DcIndexBusy::~DcIndexBusy() {
    if (announced_ && index_.own_->writer != nullptr) index_.own_->writer->announce(-1);
}
