#include "services/query_results.h"

#include <algorithm>
#include <string>

#include "services/output.h"
#include "services/print_forms.h"
#include "services/tag_names.h"
#include "services/values.h"

namespace services {
namespace {

// Results as they come, for programs.
class JsonResults final : public QueryResults {
  public:
    JsonResults() : form_(makeJsonForm(out_)) { form_->begin(); }
    void result(DumpedFile& result) override { form_->file(result, Pick(), nullptr); }
    std::size_t held() const override { return 0; }
    void finish() override { form_->end(); }

  private:
    Output out_;
    std::unique_ptr<DumpForm> form_;
};

class TableResults final : public QueryResults {
  public:
    explicit TableResults(const std::vector<unsigned int>& tags) : tags_(tags) {
        rows_.emplace_back();
        for (unsigned int tag : tags_) rows_[0].push_back(keywordOf(tag));
    }
    void result(DumpedFile& result) override {
        const Place place(result.data, result);
        std::vector<std::string> row;
        for (unsigned int tag : tags_) {
            DcElem* const e = elementOf(result.data, tag);
            row.push_back(e != nullptr ? text(*e, place) : "");
            held_ += sizeof(std::string) + row.back().size();
        }
        rows_.push_back(std::move(row));
    }
    std::size_t held() const override { return held_; }
    void finish() override {
        if (rows_.size() == 1) return;
        std::vector<std::size_t> widths(tags_.size());
        for (const auto& row : rows_) {
            for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columns(row[i]));
        }
        Output out;
        for (const auto& row : rows_) {
            for (std::size_t i = 0; i < row.size(); ++i) {
                out << row[i];
                if (i + 1 < row.size()) out.pad(widths[i] - columns(row[i]) + 2);
            }
            out << '\n';
        }
    }

  private:
    // Characters of a UTF-8 text.
    static std::size_t columns(const std::string& text) {
        return static_cast<std::size_t>(
            std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
    }
    std::string text(DcElem& e, const Place& place) {
        values_.load(e, place);
        std::string all;
        for (std::size_t i = 0; i < values_.count(); ++i) {
            if (i != 0) all += '\\';
            switch (values_.kind()) {
                case ValueKind::text:
                    all += withEscapes(values_.text(i));
                    break;
                case ValueKind::integer:
                    all += values_.integerText(i);
                    break;
                case ValueKind::real:
                    all += std::to_string(values_.real(i));
                    break;
                default:
                    break;
            }
        }
        return all;
    }

    const std::vector<unsigned int>& tags_;
    std::vector<std::vector<std::string>> rows_;
    std::size_t held_ = 0;
    Values values_;
};

}  // namespace

std::unique_ptr<QueryResults> makeQueryResults(const std::vector<unsigned int>& tags, bool json) {
    if (json) return std::make_unique<JsonResults>();
    return std::make_unique<TableResults>(tags);
}

}  // namespace services
