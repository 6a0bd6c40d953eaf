// orvkit index find, stats, verify and delete.
#include "services/archive_index.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "orvkit/result.h"
#include "platform/file.h"
#include "services/archive_arrivals.h"
#include "services/archive_files.h"
#include "services/json_writer.h"
#include "services/paths.h"
#include "services/query_results.h"
#include "services/report.h"

namespace services {
namespace {

namespace fs = std::filesystem;

bool openIndex(DcIndex& index, const ArchiveOptions& options, INDEX_OPEN how) {
    return index.open(indexPlace(options.directory, options.index).c_str(), how) == RESULT_OK ||
           complain("%s", DcIndex::fault());
}

INDEX_ROOT rootOf(const QueryOptions& query) {
    return query.patientRoot() ? INDEX_ROOT_PATIENT : INDEX_ROOT_STUDY;
}

DcIndexQuery queryOf(const ArchiveOptions& options) {
    DcIndexQuery query;
    query.root = rootOf(options.query);
    query.how = INDEX_RELATIONAL | INDEX_EMPTY_VALUE;
    if (options.query.dateTime) query.how |= INDEX_DATE_TIME;
    if (options.query.fuzzyNames) query.how |= INDEX_FUZZY_NAMES;
    if (options.anyCase) query.how |= INDEX_ANY_CASE;
    if (options.anyAccent) query.how |= INDEX_ANY_ACCENT;
    query.maxResults = static_cast<unsigned int>(options.query.maxResults);
    if (options.query.maxTime > 0)
        query.maxMilliseconds = static_cast<unsigned int>(options.query.maxTime) * 1000;
    return query;
}

// Why a query has ended early, or "".
std::string endOf(int result) {
    switch (result) {
        case RESULT_OK:
            return {};
        case INDEX_RESULTS:
            return "there are more results (--max-results)";
        case INDEX_TIME:
            return "the time is over (--max-time), and there may be more";
        default:
            return DcIndex::fault();
    }
}

// What stands in the folder of a grave comes back, and into the index. False when some of it cannot.
bool takeBack(DcIndex& index, const std::string& directory, unsigned long long grave, std::uint64_t& files) {
    const std::string root = gravePath(directory, grave, "");
    bool good = true;
    ArchiveWalk walk(root);
    std::vector<std::string> paths;
    std::uint64_t size = 0;
    for (std::string path; walk.next(path, size);) paths.push_back(path);
    Arrivals arrivals(directory);
    if (!arrivals.prepare()) return false;
    for (const std::string& path : paths) {
        const std::string to = archivePath(directory, path);
        std::error_code error;
        // Noted, it is nobody else's until its rows are there.
        Arrival arrival(arrivals);
        if (!arrival.begin(path) || fs::exists(pathOf(to), error)) {
            good = complain("%s: another file stands there by now", to.c_str());
            continue;
        }
        fs::create_directories(pathOf(to).parent_path(), error);
        fs::rename(pathOf(root + path), pathOf(to), error);
        DcIndexStored stored;
        if (error) {
            good = complain("%s: %s", to.c_str(), error.message().c_str());
        } else if (const int result = storeArchiveFile(index, directory, path, INDEX_BOTH, stored);
                   result != RESULT_OK) {
            good = complain("%s: %s", to.c_str(), resultText(result).c_str());
        } else {
            ++files;
        }
    }
    return walk.fault().empty() && good;
}

void removeFolder(const std::string& directory, unsigned long long grave) {
    std::error_code error;
    fs::remove_all(pathOf(gravePath(directory, grave, "")), error);
}

int undo(const ArchiveOptions& options) {
    DcIndex index;
    const auto grave = static_cast<unsigned long long>(options.undo);
    if (!openIndex(index, options, INDEX_WRITE)) return EXIT_FAILED;
    if (!isFolder(gravePath(options.directory, grave, ""))) return failed("there is no grave %llu", grave);
    std::uint64_t files = 0;
    if (!finishGraves(index, options.directory)) return EXIT_FAILED;
    const bool good = takeBack(index, options.directory, grave, files);
    std::printf("%llu files are back\n", static_cast<unsigned long long>(files));
    if (!good) return EXIT_FAILED;
    (void)index.closeGrave(grave);
    removeFolder(options.directory, grave);
    return EXIT_OK;
}

int empty(const ArchiveOptions& options) {
    DcIndex index;
    const auto grave = static_cast<unsigned long long>(options.empty);
    if (!openIndex(index, options, INDEX_WRITE)) return EXIT_FAILED;
    if (!finishGraves(index, options.directory)) return EXIT_FAILED;
    const bool isThere = isFolder(gravePath(options.directory, grave, ""));
    if (index.closeGrave(grave) != RESULT_OK && !isThere) return failed("there is no grave %llu", grave);
    removeFolder(options.directory, grave);
    return EXIT_OK;
}

int listGraves(const ArchiveOptions& options) {
    DcIndex index;
    if (!openIndex(index, options, INDEX_READ)) return EXIT_FAILED;
    return index.walkGraves(nullptr,
                            [](void*, const DcIndexGrave& grave) {
                                std::printf("grave %llu: %llu instances, %llu bytes\n", grave.number,
                                            grave.instances, grave.bytes);
                                return 0;
                            }) == RESULT_OK
               ? EXIT_OK
               : failed("%s", DcIndex::fault());
}

// What an index says against itself: complained of, or in JSON.
struct IndexFaults {
    JsonWriter* json;
    std::uint64_t count = 0;

    static int take(void* self, const char* fault) {
        auto& faults = *static_cast<IndexFaults*>(self);
        ++faults.count;
        if (faults.json == nullptr) {
            complain("%s", fault);
        } else {
            faults.json->value(fault);
        }
        return 0;
    }
};

}  // namespace

int findInIndex(const ArchiveOptions& options) {
    QueryKeys keys;
    if (!keys.parse(options.query)) return EXIT_USAGE;
    keys.askForUsual();
    DcIndex index;
    if (!openIndex(index, options, INDEX_READ)) return EXIT_FAILED;
    const auto results = makeQueryResults(keys.tags(), options.query.json);
    const auto identifier = keys.identifier();
    DcIndexFound found;
    const int result = index.query(
        queryOf(options), *identifier, results.get(),
        [](void* into, DcElemList& answer) {
            DumpedFile one;
            one.path += '/';  // it is no file
            (void)answer.moveElem(&one.data);
            static_cast<QueryResults*>(into)->result(one);
            return 0;
        },
        found);
    results->finish();
    const std::string end = endOf(result);
    return end.empty() ? EXIT_OK : failed("%s", end.c_str());
}

int showIndex(const ArchiveOptions& options) {
    DcIndex index;
    DcIndexStats stats;
    if (!openIndex(index, options, INDEX_READ)) return EXIT_FAILED;
    if (index.stats(stats) != RESULT_OK) return failed("%s", DcIndex::fault());
    const struct {
        const char* name;
        unsigned long long value;
    } rows[] = {{"version", static_cast<unsigned long long>(stats.version)},
                {"patients", stats.patients},
                {"studies", stats.studies},
                {"series", stats.series},
                {"instances", stats.instances},
                {"bytes", stats.bytes},
                {"indexBytes", stats.indexBytes},
                {"attributeBytes", stats.attributeBytes},
                {"graves", stats.graves}};
    Output out;
    if (!options.json) {
        for (const auto& row : rows) out << row.name << ": " << row.value << '\n';
        return EXIT_OK;
    }
    JsonWriter json(out);
    json.beginObject();
    for (const auto& row : rows) json.member(row.name, row.value);
    json.endObject();
    out << '\n';
    return EXIT_OK;
}

int verifyIndex(const ArchiveOptions& options) {
    DcIndex index;
    if (!openIndex(index, options, INDEX_READ)) return EXIT_FAILED;
    Output out;
    JsonWriter json(out);
    IndexFaults faults{options.json ? &json : nullptr};
    if (options.json) json.beginObject().key("faults").beginArray();
    const int result = index.verify(&faults, &IndexFaults::take);
    if (options.json) {
        json.endArray().endObject();
        out << '\n';
    }
    if (result != RESULT_OK) return failed("%s", DcIndex::fault());
    if (faults.count == 0) return EXIT_OK;
    return failed("%llu faults; the index is made again from the files by: orvkit index rebuild %s",
                  static_cast<unsigned long long>(faults.count), options.directory.c_str());
}

int deleteFromIndex(const ArchiveOptions& options) {
    if (options.undo != 0) return undo(options);
    if (options.empty != 0) return empty(options);
    if (options.query.keys.empty()) return listGraves(options);
    QueryKeys keys;
    if (!keys.parse(options.query)) return EXIT_USAGE;
    DcIndex index;
    if (!openIndex(index, options, INDEX_WRITE)) return EXIT_FAILED;
    DcIndexGrave grave{};
    const auto identifier = keys.identifier();
    if (index.bury(rootOf(options.query), INDEX_RELATIONAL, *identifier, grave) != RESULT_OK)
        return failed("%s", DcIndex::fault());
    if (grave.instances == 0) return failed("nothing is selected");
    if (!finishGraves(index, options.directory)) return EXIT_FAILED;
    std::printf("grave %llu: %llu instances, %llu bytes; --undo %llu brings them back\n", grave.number,
                grave.instances, grave.bytes, grave.number);
    return EXIT_OK;
}

}  // namespace services
