// The sample files and what their reference tables say of them.
#ifndef ORVKIT_TESTS_MEDIA_SAMPLE_FILES_H
#define ORVKIT_TESTS_MEDIA_SAMPLE_FILES_H

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

// A line of INDEX.tsv.
struct Sample {
    std::string path;  // relative to the samples' directory
    std::string transferSyntax;
    std::string wellFormed;  // "yes", "lax: ...", "no: ..."

    std::string folder() const { return path.substr(0, path.find('/')); }
    bool isMalformed() const { return wellFormed.starts_with("no"); }
};

// A line of a reference table: an element, an item or a fragment.
struct ReferenceRow {
    int depth = 0;
    unsigned int tag = 0;
    std::string vr;      // "--" for items
    std::string vrFrom;  // file, dict, unknown, -
    bool undefined = false;
    std::uint32_t length = 0;
    std::size_t offset = 0;  // of the tag, in the file
};

// Null where the samples are absent.
const char* samplesDirectory();

inline std::string samplePath(const std::string& path) {
    return std::string(samplesDirectory()) + "/" + path;
}

inline std::vector<std::string> splitTabs(const std::string& line) {
    std::vector<std::string> fields;
    std::istringstream in(line);
    for (std::string field; std::getline(in, field, '\t');) fields.push_back(field);
    return fields;
}

inline std::vector<Sample> allSamples() {
    std::vector<Sample> samples;
    std::ifstream in(samplePath("INDEX.tsv"));
    std::string line;
    std::getline(in, line);
    while (std::getline(in, line)) {
        const auto f = splitTabs(line);
        samples.push_back({f.at(0), f.at(3), f.at(6)});
    }
    return samples;
}

inline std::vector<ReferenceRow> referenceOf(const Sample& sample) {
    std::vector<ReferenceRow> rows;
    std::ifstream in(samplePath("reference/" + sample.path + ".tsv"));
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with("#")) continue;
        const auto f = splitTabs(line);
        ReferenceRow row;
        row.depth = std::stoi(f.at(0));
        row.tag = static_cast<unsigned int>(std::stoul(f.at(1), nullptr, 16));
        row.vr = f.at(2);
        row.vrFrom = f.at(3);
        row.undefined = f.at(4) == "undefined";
        row.length = row.undefined ? 0xFFFFFFFF : static_cast<std::uint32_t>(std::stoul(f.at(4)));
        row.offset = std::stoul(f.at(5));
        rows.push_back(row);
    }
    return rows;
}

#endif
