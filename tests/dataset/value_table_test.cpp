// Which VR takes and gives which type: every pair, against the table as text.
#include <gtest/gtest.h>

#include <functional>
#include <sstream>

#include "orvkit/result.h"
#include "orvkit/util.h"
#include "support/capture_log.h"
#include "support/elem_values.h"

namespace {

const char* const allVrs =
    "AE AS AT CS DA DS DT FL FD IS LO LT OB OF OW PN SH SL SQ SS ST TM UI UL UN US UT OX XL XS RT EX SI ??";

std::vector<std::string> words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> all;
    for (std::string word; in >> word;) all.push_back(word);
    return all;
}

bool lists(const std::string& text, const std::string& word) {
    return (" " + text + " ").find(" " + word + " ") != std::string::npos;
}

std::string nameOf(const std::string& vr) {
    return vr == "??" ? "" : vr;
}

// A value of each VR as text, which reads as 3 wherever a number can be read.
const char* sampleOf(const std::string& vr) {
    if (vr == "AS") return "003Y";
    if (vr == "AT") return "(0000,0003)";
    if (vr == "DA" || vr == "DT") return "20240203";
    if (vr == "TM") return "1030";
    if (vr == "UI") return "1.2.840.10008.1.2";
    return "3";
}

struct AddColumn {
    const char* type;
    const char* accepted;
    std::function<int(DcElem&)> add;
    std::function<std::string(const std::string& vr)> shown;
};

template <typename T>
auto adds(T value) {
    return [value](DcElem& e) mutable { return e.addValue(value); };
}
auto shows(const char* text) {
    return [text](const std::string& vr) -> std::string { return vr == "AT" ? "(0000,0003)" : text; };
}

std::vector<AddColumn> addColumns() {
    // One kind of record stands for all.
    DcElemValueAS as;
    as.age = 3;
    as.unit[0] = 'Y';
    return {
        {"short", "SS XS DS IS FL FD SL UL US", adds<short>(3), shows("3")},
        {"unsigned short", "UL US XS DS IS FL FD SL SS", adds<unsigned short>(3), shows("3")},
        {"long", "AT SL DS IS FL FD SS XS UL US", adds<int>(3), shows("3")},
        {"unsigned long", "AT UL DS IS FL FD SL SS US XS", adds<unsigned int>(3), shows("3")},
        {"float", "FL DS FD", adds<float>(2.5f), shows("2.5")},
        {"double float", "FD DS FL", adds<double>(2.5), shows("2.5")},
        {"DICT_UID", "UI", adds(UID_LITTLE_ENDIAN_IMPLICIT), shows("1.2.840.10008.1.2")},
        {"DcElemValueAS", "AS", adds(as), shows("003Y")},
        {"string", "AE AS AT CS DA DS DT FL FD IS LO LT PN SH SL SS ST TM UI UL US UT XS", nullptr, sampleOf},
    };
}

struct GetColumn {
    const char* type;
    const char* accepted;
    std::function<int(DcElem&, std::string&)> get;
    const char* shown;  // null: the sample
};

template <typename T>
int getNumber(DcElem& e, std::string& text) {
    T v{};
    const int code = e.getValue(v);
    std::ostringstream out;
    out << v;
    text = out.str();
    return code;
}

// Records are read here only to see whether they are given.
template <typename Value>
int getRecord(DcElem& e, std::string& text) {
    Value v;
    text = "given";
    return e.getValue(v);
}

std::vector<GetColumn> getColumns() {
    const auto getText = [](DcElem& e, std::string& text) {
        char buffer[65];
        const int code = e.getValue(buffer, 64);
        text = buffer;
        return code;
    };
    return {
        {"signed short", "SS XS IS US", getNumber<short>, "3"},
        {"unsigned short", "US IS SS XS", getNumber<unsigned short>, "3"},
        {"signed long", "AT SL XL IS SS XS UL US", getNumber<int>, "3"},
        {"32 bit unsigned int", "AT UL IS SL XL SS XS US", getNumber<unsigned int>, "3"},
        {"float", "FL DS IS FD SL XL SS XS UL US", getNumber<float>, "3"},
        {"double", "FD DS IS FL SL XL SS XS UL US", getNumber<double>, "3"},
        {"DICT_UID", "UI", getNumber<DICT_UID>, "173"},
        {"DcElemValueAS", "AS", getRecord<DcElemValueAS>, "given"},
        {"raw buffer", "OB OF OW UN UT OX ??", getRecord<DcBuf>, "given"},
        {"string", "AE AS CS DA DS DT IS LO LT PN SH ST TM UI AT FL FD SL SS XL XS UL US UT", getText,
         nullptr},
    };
}

// An element of the VR with one value, whatever way that takes.
std::unique_ptr<DcElem> filled(const std::string& vr) {
    auto e = elemOf(vrNamed(vr));
    unsigned char three[] = {3, 0, 0, 0};
    int code = 0;
    if (vr == "UT") {
        code = e->addValue("text");
    } else if (vr == "XL" || orvkit::isRawVr(e->getVr())) {
        code = e->parseVal(three, sizeof three, UID_LITTLE_ENDIAN_EXPLICIT);
    } else if (e->getVr() < VR_RT && vr != "SQ") {
        code = e->addValue(sampleOf(vr));
    }
    EXPECT_EQ(code, 0) << vr;
    return e;
}

// A read that delivers nothing: silently from an element without values, but raw buffers are a matter of the
// VR first.
void expectNothing(int code, CaptureLog& log, DcElem& e, const std::string& vr, const GetColumn& column) {
    const bool raw = column.type == std::string("raw buffer");
    if (raw ? lists(column.accepted, vr) : orvkit::ElemAccess::store(e).count == 0) {
        EXPECT_EQ(code, ELEM_EMPTY_VALUE);
        EXPECT_EQ(log.take(), LogLines{});
    } else {
        EXPECT_EQ(code, ELEM_VR_SIZE);
        log.expect(LOG_VALIDATION, "DcElem::getValue",
                   anyElement + "VR=" + nameOf(vr) + ", cannot get value as " + column.type);
    }
}

}  // namespace

TEST(ValueTable, AddValueTakesOrRefusesEveryTypeOnEveryVr) {
    for (const auto& vr : words(allVrs)) {
        for (const AddColumn& column : addColumns()) {
            SCOPED_TRACE(vr + " " + column.type);
            CaptureLog log;
            const auto e = elemOf(vrNamed(vr));
            log.clear();  // the internal codes have no properties, which the dictionary tells
            const int code = column.add ? column.add(*e) : e->addValue(sampleOf(vr));
            if (lists(column.accepted, vr)) {
                EXPECT_EQ(code, 0);
                EXPECT_EQ(stored(*e), "[" + column.shown(vr) + "]");
                EXPECT_EQ(log.take(), LogLines{});
            } else {
                const bool text = column.add == nullptr;
                EXPECT_EQ(code, ELEM_VALUE_REFUSED);
                EXPECT_EQ(e->getValueCount(), 0);
                log.expect(LOG_VALIDATION, text ? "DcElem::addValueStrg" : "DcElem::addValue",
                           anyElement + "VR=" + nameOf(vr) + ", does not accept " + column.type);
            }
        }
    }
}

TEST(ValueTable, GetValueGivesOrRefusesEveryTypeOfEveryVr) {
    for (const auto& vr : words(allVrs)) {
        for (const GetColumn& column : getColumns()) {
            SCOPED_TRACE(vr + " " + column.type);
            CaptureLog log;
            const auto e = filled(vr);
            log.clear();
            std::string text;
            const int code = column.get(*e, text);
            if (lists(column.accepted, vr)) {
                const std::string sample = vr == "UT" ? "text" : sampleOf(vr);
                EXPECT_EQ(code, 0);
                EXPECT_EQ(text, column.shown != nullptr ? column.shown : sample);
                EXPECT_EQ(log.take(), LogLines{});
            } else {
                expectNothing(code, log, *e, vr, column);
            }
            e->deleteAllValues();
            expectNothing(column.get(*e, text), log, *e, vr, column);
        }
    }
}
