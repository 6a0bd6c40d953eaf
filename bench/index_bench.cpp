// The index of an archive: what it takes to store, what an instance takes of the disk, and how long queries
// take. Usage: bench_index_bench PLACE INSTANCES [QUERIES]. The place is that of an index (postgresql://...,
// with nothing in it), or a file for SQLite. Rows are made directly; what DcIndex stores through its front is
// timed apart, with one thread and with four, on top of them. A file is made anew; what a database has
// already is not made again. With 0 QUERIES the rows are all, and where a server has an index with such rows,
// AET@HOST:PORT in the place of PLACE asks it for studies.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "index/rows.h"
#include "index/schema.h"
#include "orvkit/index.h"
#include "orvkit/log.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/association.h"
#include "services/retrieve.h"

namespace {

using namespace orvkit::index;
using Clock = std::chrono::steady_clock;

constexpr int kPerSeries = 100;
constexpr int kSeriesPerStudy = 3;
constexpr int kStudiesPerPatient = 2;
constexpr const char* kRoot = "1.2.826.0.1.3680043.10.543.20201031.1145.";
constexpr const char* kSyntax = "1.2.840.10008.1.2.1";
constexpr const char* kClass = "1.2.840.10008.5.1.4.1.1.2";

double secondsSince(Clock::time_point begun) {
    return std::chrono::duration<double>(Clock::now() - begun).count();
}

// An instance of a corpus, by its number.
struct Numbers {
    explicit Numbers(long long n)
        : instance(n),
          series(n / kPerSeries),
          study(series / kSeriesPerStudy),
          patient(study / kStudiesPerPatient) {}
    long long instance;
    long long series;
    long long study;
    long long patient;

    std::string patientId() const { return "PID" + std::to_string(1000000 + patient * 7919 % 1000000); }
    std::string name() const {
        static constexpr const char* parts[] = {"ba", "de", "ki", "lo", "mu", "na", "pe", "ri", "so", "ta"};
        std::string text;
        for (long long rest = patient * 2654435761 % 100000000, i = 0; i < 6; ++i, rest /= 10)
            text += parts[rest % 10];
        return text + "^" + parts[patient % 10] + parts[patient / 10 % 10];
    }
    std::string date() const {
        char text[16];
        const long long day = study * 7 % 5000;
        std::snprintf(text, sizeof text, "%04lld%02lld%02lld", 2010 + day / 336, 1 + day / 28 % 12,
                      1 + day % 28);
        return text;
    }
    std::string studyUid() const { return kRoot + std::to_string(study); }
    std::string seriesUid() const { return studyUid() + "." + std::to_string(series); }
    std::string instanceUid() const { return seriesUid() + "." + std::to_string(instance); }
    std::string path() const {
        char folder[16];
        std::snprintf(folder, sizeof folder, "%02llx/%02llx/",
                      static_cast<unsigned long long>(instance * 40503 % 256),
                      static_cast<unsigned long long>(instance * 30011 % 256));
        return folder + instanceUid() + ".dcm";
    }
    // What stands in a CT image beside its UIDs.
    template <typename Put>
    void each(Put put) const {
        const std::string number = std::to_string(instance % kPerSeries);
        put(T_0008_0020_studyDate, VR_DA, date());
        put(T_0008_0030_studyTime, VR_TM, std::string("101500"));
        put(T_0008_0050_accessionNumber, VR_SH, "ACC" + std::to_string(study));
        put(T_0008_0060_modality, VR_CS, std::string(series % 3 == 0 ? "CT" : "MR"));
        put(T_0008_0070_manufacturer, VR_LO, std::string("Some maker"));
        put(T_0008_1030_studyDescription, VR_LO, std::string("CT Abdomen with contrast"));
        put(T_0008_103e_seriesDescription, VR_LO, std::string("Axial 3 mm"));
        put(T_0010_0010_patientsName, VR_PN, name());
        put(T_0010_0020_patientId, VR_LO, patientId());
        put(T_0010_0030_patientsBirthDate, VR_DA, std::string("19600101"));
        put(T_0010_0040_patientsSex, VR_CS, std::string("M"));
        put(T_0018_0050_sliceThickness, VR_DS, std::string("3"));
        put(T_0018_0060_kvp, VR_DS, std::string("120"));
        put(T_0020_0011_seriesNumber, VR_IS, std::to_string(series % kSeriesPerStudy));
        put(T_0020_0013_instanceNumber, VR_IS, number);
        put(T_0020_0032_imagePositionPatient, VR_DS, "-125\\-125\\" + number + ".5");
        put(T_0020_0037_imageOrientationPatient, VR_DS, std::string("1\\0\\0\\0\\1\\0"));
        put(T_0020_1041_sliceLocation, VR_DS, number + ".5");
        put(T_0028_0030_pixelSpacing, VR_DS, std::string("0.5\\0.5"));
    }
};

Record recordOf(const Numbers& n) {
    Record record;
    record.patientId = n.patientId();
    record.study = n.studyUid();
    record.series = n.seriesUid();
    record.instance = n.instanceUid();
    record.sopClass = kClass;
    record.xferSyn = kSyntax;
    record.path = n.path();
    record.size = 525000;
    record.modality = n.series % 3 == 0 ? "CT" : "MR";
    n.each([&](unsigned int tag, DICT_VR vr, const std::string& value) {
        append(record.attributes[numberOf(levelOf(tag))], tag, vr, value);
    });
    return record;
}

void makeRows(const std::string& place, long long instances) {
    const auto engine = openEngine(place, INDEX_CREATE, true);
    const auto session = engine->connect(true);
    settleSchema(*session, INDEX_CREATE);
    Rows rows(*session);
    const Clock::time_point begun = Clock::now();
    for (long long n = 0; n < instances;) {
        Transaction transaction(*session, true);
        rows.begin();
        for (const long long end = std::min(n + 20000, instances); n < end;) {
            DcIndexStored stored;
            std::vector<Record> some;
            std::vector<Arrival> arrivals;
            for (const long long last = std::min(n + 500, end); n < last; ++n)
                some.push_back(recordOf(Numbers(n)));
            for (const Record& record : some) arrivals.push_back({&record, INDEX_KEEP, &stored});
            rows.store(arrivals);
        }
        rows.settle();
        transaction.commit();
    }
    std::printf("rows made directly: %lld, %.0f a second\n", instances,
                static_cast<double>(instances) / secondsSince(begun));
}

// Through the front, each on the disk before the next.
void store(DcIndex& index, long long from, int threads, int each) {
    std::atomic<long long> next = from;
    std::vector<std::thread> all;
    const Clock::time_point begun = Clock::now();
    for (int t = 0; t < threads; ++t) {
        all.emplace_back([&] {
            for (int i = 0; i < each; ++i) {
                const DcIndexBusy busy(index);
                const Numbers n(next++);
                DcElemList dataset;
                n.each([&](unsigned int tag, DICT_VR, const std::string& value) {
                    dataset.add(new DcElem(tag, value.c_str()));
                });
                dataset.add(new DcElem(T_0008_0016_sopClassUid, kClass));
                dataset.add(new DcElem(T_0008_0018_sopInstanceUid, n.instanceUid().c_str()));
                dataset.add(new DcElem(T_0020_000d_studyInstanceUid, n.studyUid().c_str()));
                dataset.add(new DcElem(T_0020_000e_seriesInstanceUid, n.seriesUid().c_str()));
                const std::string path = n.path();
                DcIndexFile file;
                file.path = path.c_str();
                file.xferSyn = kSyntax;
                file.size = 525000;
                DcIndexStored stored;
                if (index.store(dataset, file, INDEX_KEEP, stored) != RESULT_OK) std::abort();
            }
        });
    }
    for (std::thread& thread : all) thread.join();
    std::printf("stored and synced, %d thread%s: %.0f a second\n", threads, threads == 1 ? "" : "s",
                threads * each / secondsSince(begun));
}

using Keys = std::vector<std::pair<unsigned int, std::string>>;

// The time until the first answer to a query, until the last, and how many there were.
struct Asked {
    double first = 0;
    double last = 0;
    unsigned long long answers = 0;
};
using Ask = std::function<Asked(std::unique_ptr<DcElemList> keys)>;

std::unique_ptr<DcElemList> identifierOf(const Keys& given) {
    auto keys = std::make_unique<DcElemList>();
    keys->setValueExceptionLevel(0);
    for (const auto& [tag, value] : given) {
        std::string text = value;
        if (text.size() % 2 != 0) text += Dict.facts(tag).vr == VR_UI ? '\0' : ' ';
        keys->add(new DcElem(tag, text.data(), static_cast<unsigned int>(text.size()),
                             UID_LITTLE_ENDIAN_EXPLICIT, VR_IM, 0));
    }
    return keys;
}

Ask askIndex(DcIndex& index) {
    return [&index](std::unique_ptr<DcElemList> keys) {
        struct Context {
            Clock::time_point begun = Clock::now();
            Asked asked;
        } context;
        DcIndexQuery query;
        query.how = INDEX_RELATIONAL;
        query.maxResults = 100;
        DcIndexFound found;
        (void)index.query(
            query, *keys, &context,
            [](void* into, DcElemList&) {
                auto& all = *static_cast<Context*>(into);
                if (all.asked.answers++ == 0) all.asked.first = secondsSince(all.begun);
                return 0;
            },
            found);
        context.asked.last = secondsSince(context.begun);
        return context.asked;
    };
}

// A response of an archive of another's may be anything but pending: then it was the last.
Ask askServer(services::Association& association) {
    return [&association](std::unique_ptr<DcElemList> keys) {
        Asked asked;
        DcCmdCFindRq request;
        (void)request.add(new DcElem(T_0000_0002_affectedSopClassUid, "1.2.840.10008.5.1.4.1.2.2.1"));
        (void)request.add(new DcElem(T_0000_0700_priority, static_cast<unsigned short>(0)));
        request + keys.release();
        const Clock::time_point begun = Clock::now();
        if (!association.send(request, UID_STUDY_ROOT_Q_R_FIND)) std::exit(1);
        while (true) {
            const std::unique_ptr<DcMsg> response = association.receive(DICT_MSG_C_FIND_RSP);
            if (response == nullptr) std::exit(1);
            asked.last = secondsSince(begun);
            unsigned short status = 0;
            (void)response->getValue(T_0000_0900_status, status);
            if ((status & 0xFFFE) != 0xFF00) return asked;
            if (asked.answers++ == 0) asked.first = asked.last;
        }
    };
}

void timeQueries(const Ask& ask, const char* what, int count,
                 const std::function<Keys(const Numbers&)>& keysOf, long long instances) {
    std::mt19937_64 random(7);
    std::vector<double> times;
    std::vector<double> firsts;
    unsigned long long answers = 0;
    for (int i = 0; i < count; ++i) {
        const Numbers n(static_cast<long long>(random() % static_cast<unsigned long long>(instances)));
        const Asked asked = ask(identifierOf(keysOf(n)));
        times.push_back(asked.last * 1000);
        firsts.push_back(asked.first * 1000);
        answers += asked.answers;
    }
    const auto at = [](std::vector<double>& all, double part) {
        std::sort(all.begin(), all.end());
        return all[static_cast<std::size_t>(part * static_cast<double>(all.size() - 1))];
    };
    std::printf(
        "%-24s p50 %7.3f ms  p99 %7.3f ms  most %7.3f ms  first answer p50 %7.3f ms p99 %7.3f ms  "
        "%.1f answers each\n",
        what, at(times, 0.5), at(times, 0.99), at(times, 1), at(firsts, 0.5), at(firsts, 0.99),
        static_cast<double>(answers) / count);
}

void queryStudies(const Ask& ask, long long instances, int count) {
    const auto study = [&](const char* what, const std::function<Keys(const Numbers&)>& more) {
        timeQueries(
            ask, what, count,
            [&](const Numbers& n) {
                Keys keys = more(n);
                keys.insert(keys.end(), {{T_0008_0052_queryRetrieveLevel, "STUDY"},
                                         {T_0020_000d_studyInstanceUid, ""},
                                         {T_0020_1208_numberOfStudyRelatedInstances, ""}});
                return keys;
            },
            instances);
    };
    study("studies by date", [](const Numbers& n) { return Keys{{T_0008_0020_studyDate, n.date()}}; });
    study("studies by patient", [](const Numbers& n) {
        return Keys{{T_0010_0020_patientId, n.patientId()}};
    });
    study("studies by name prefix", [](const Numbers& n) {
        return Keys{{T_0010_0010_patientsName, n.name().substr(0, 8) + "*"}};
    });
    study("studies by accession", [](const Numbers& n) {
        return Keys{{T_0008_0050_accessionNumber, "ACC" + std::to_string(n.study)}};
    });
    study("month and modality", [](const Numbers& n) {
        return Keys{{T_0008_0020_studyDate, n.date().substr(0, 6) + "01-" + n.date().substr(0, 6) + "28"},
                    {T_0008_0061_modalitiesInStudy, "CT"}};
    });
}

void queryImages(const Ask& ask, long long instances, int count) {
    timeQueries(
        ask, "images of a series", count,
        [](const Numbers& n) {
            return Keys{{T_0008_0052_queryRetrieveLevel, "IMAGE"},
                        {T_0020_000d_studyInstanceUid, n.studyUid()},
                        {T_0020_000e_seriesInstanceUid, n.seriesUid()},
                        {T_0008_0018_sopInstanceUid, ""},
                        {T_0020_0013_instanceNumber, ""}};
        },
        instances);
    timeQueries(
        ask, "an image by its UID", count,
        [](const Numbers& n) {
            return Keys{{T_0008_0052_queryRetrieveLevel, "IMAGE"},
                        {T_0008_0018_sopInstanceUid, n.instanceUid()}};
        },
        instances);
}

}  // namespace

int queryServer(const std::string& peer, long long instances, int count) {
    services::PeerOptions options;
    const std::size_t at = peer.find('@');
    const std::size_t colon = peer.rfind(':');
    options.aec = peer.substr(0, at);
    options.host = peer.substr(at + 1, colon - at - 1);
    options.port = std::atoi(peer.c_str() + colon + 1);
    services::Association association(options);
    if (!services::openFor(association, options, UID_STUDY_ROOT_Q_R_FIND, {})) return 1;
    queryStudies(askServer(association), instances, count);
    association.release();
    return 0;
}

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    const std::string given = argv[1];
    const bool isFile = given.find("://") == std::string::npos;
    const std::string place = isFile ? "sqlite:" + given : given;
    const long long instances = std::atoll(argv[2]);
    const int count = argc > 3 ? std::atoi(argv[3]) : 1000;
    elemListSetValueExceptionLevel(0);
    if (given.find('@') != std::string::npos && isFile) return queryServer(given, instances, count);
    if (isFile)
        for (const char* const suffix : {"", "-wal", "-shm"}) (void)std::remove((given + suffix).c_str());
    DcIndex index;
    DcIndexStats stats;
    if (index.open(place.c_str(), INDEX_CREATE) != RESULT_OK || index.stats(stats) != RESULT_OK) return 1;
    (void)index.close();
    if (stats.instances == 0) makeRows(place, instances);
    if (count == 0) return 0;
    if (index.open(place.c_str(), INDEX_WRITE) != RESULT_OK || index.stats(stats) != RESULT_OK) return 1;
    std::printf("bytes an instance: %.0f, and %.0f of attributes\n",
                static_cast<double>(stats.indexBytes) / static_cast<double>(instances),
                static_cast<double>(stats.attributeBytes) / static_cast<double>(instances));
    queryStudies(askIndex(index), instances, count);
    queryImages(askIndex(index), instances, count);
    store(index, instances, 1, 4000);
    store(index, instances + 4000, 4, 4000);
    return 0;
}
