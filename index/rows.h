// The rows of an index, as they are written: by one session, inside its transactions.
#ifndef ORVKIT_INDEX_ROWS_H
#define ORVKIT_INDEX_ROWS_H

#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "index/record.h"
#include "index/request.h"
#include "index/selection.h"
#include "index/session.h"
#include "index/terms.h"

namespace orvkit::index {

// An object that is to be stored, and where it is told what became of it.
struct Arrival {
    const Record* record;
    INDEX_DUPLICATE duplicate;
    DcIndexStored* stored;
};

class Rows {
  public:
    explicit Rows(Session& session) : session_(session), terms_(session) {}

    // Around what follows: when a transaction has begun, before it is committed, and when it has failed.
    void begin();
    void settle();
    void forget();

    void store(std::span<const Arrival> arrivals);
    void bury(const Request& selection, std::int64_t now, DcIndexGrave& grave);
    void closeGrave(std::int64_t number);
    // Trouble: INDEX_ABSENT.
    void forgetFile(const std::string& instance, const std::string& path);

  private:
    // Where an object belongs.
    struct Place {
        std::int64_t patient = 0;
        std::int64_t study = 0;
        std::int64_t series = 0;
        Bytes common;  // of the series' instances
    };
    // What is in a study, as the index says.
    struct Contents {
        std::string modalities;
        std::string classes;
    };
    // As it was read, and as it is to be. Another program may have changed it since: that is found when it is
    // written.
    struct KnownContents {
        Contents before;
        Contents now;
    };
    // What a transaction adds to the counts of a row.
    struct Added {
        std::int64_t studies = 0;
        std::int64_t series = 0;
        std::int64_t instances = 0;
        std::int64_t bytes = 0;
    };
    // What a series has of an instance already.
    struct Copies {
        int count = 0;
        std::int64_t first = 0;  // their lowest number: it may be any, where files have gone
        std::int64_t last = 0;   // and the highest
        bool isThere = false;    // in the very file
        bool elsewhere = false;
        std::string path;  // of the first one, as the others
        std::int64_t size = 0;

        // A row of it, in the order of the numbers.
        void add(const Record& record, std::int64_t copy, std::string_view shortPath, std::int64_t bytes);
    };
    struct InstanceKey {
        std::int64_t study;
        std::int64_t series;
        std::string uid;
        std::int64_t copy;
    };

    struct Placed {
        Arrival arrival;
        Place* place;
    };
    // By the UIDs of their instances.
    using ByUid = std::map<std::string, Placed>;

    void storeOne(const Arrival& arrival);
    void storeBeside(const Copies& copies, const Placed& placed);
    void storeInLists(std::span<const Arrival> arrivals);
    void part(const ByUid& asked, ByUid& fresh, std::vector<Placed>& known);
    void storeFresh(const ByUid& all);
    void storeKnown(const std::vector<Placed>& all);
    Place& placeOf(const Record& record, unsigned int& conflicts);
    Copies copiesOf(const Record& record, const Place& place);
    std::int64_t patientOf(const Record& record, unsigned int& conflicts);
    void findStudy(const Record& record, Place& place, unsigned int& conflicts);
    void findSeries(const Record& record, Place& place, unsigned int& conflicts);
    void addWords(Level level, std::string_view attributes, std::int64_t row);
    void dropWords(Level level, std::string_view attributes, std::int64_t row);
    void addModality(const Record& record, std::int64_t study);
    void addInstance(const Record& record, Place& place, std::int64_t copy);
    void countNew(const Record& record, const Place& place);
    void replaceInstance(const Record& record, const Place& place, const Copies& copies);
    void count(const Place& place, const Added& added);
    std::vector<SelectedSeries> selectLocked(const Request& selection);
    void lock(const std::set<std::int64_t>& patients, const std::set<std::int64_t>& studies,
              const std::set<std::int64_t>& series);
    void buryInstance(std::int64_t grave, const SelectedSeries& series, const SelectedInstance& one);
    void dropInstance(const InstanceKey& key);
    void dropEmpty(const SelectedSeries& series);
    void dropIfEmpty(Level level, std::int64_t row);
    void recountSeries(std::int64_t study, std::int64_t series);
    void recountStudy(std::int64_t study);
    void recountPatient(std::int64_t patient);
    std::string modalitiesOf(std::int64_t study);
    std::string classesOf(std::int64_t study);

    Session& session_;
    Terms terms_;
    std::map<std::string, Place> places_;
    std::map<std::int64_t, KnownContents> contents_;  // of studies
    std::map<std::int64_t, Added> patients_;
    std::map<std::int64_t, Added> studies_;
    std::map<std::int64_t, Added> series_;
    std::int64_t foreign_ = -1;
};

}  // namespace orvkit::index

#endif
