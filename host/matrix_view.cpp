#include "host/matrix_view.h"

#include <mapitags.h>

#include <algorithm>
#include <memory>

#include <nlohmann/json.hpp>

#include "host/attachments.h"
#include "host/matrix_origins.h"
#include "host/show_value.h"
#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

struct TSearchDeleter {
    using pointer = HSearch;
    void operator()(HSearch search) const { Search_Delete(search); }
};
struct TMatrixDeleter {
    using pointer = HCmpMatrix;
    void operator()(HCmpMatrix matrix) const { CmpMatrix_Delete(matrix); }
};

const std::string& StoreId(const TCatalog& catalog, const TItem& item) {
    return catalog.stores[catalog.folders[item.folder].store].entryId;
}

// Whether the search takes two items for equal in one property; an item against itself tells whether it has a
// value.
bool SearchSaysEqual(IMAPISession* session, const TCatalog& catalog, const TPropertyChoice& choice,
                     const TItem& a, const TItem& b) {
    TDefinitions one;
    one.properties = {choice};
    CPropertyList properties(one);
    TOriginalDefinition original{};
    original.nKind = okCallerOrder;
    const std::unique_ptr<HSearch, TSearchDeleter> search(
        Search_Create(session, properties.get(), &original, saIdentical, 0));
    unsigned found = 0;
    return search && Search_Add(search.get(), a.entryId.c_str(), StoreId(catalog, a).c_str(), &found, 0) &&
           Search_Add(search.get(), b.entryId.c_str(), StoreId(catalog, b).c_str(), &found, 0) && found != 0;
}

// Marks as the search compares: 0 for no value, else 1 + the first item with an equal value.
std::vector<unsigned> SearchMarks(IMAPISession* session, const TCatalog& catalog,
                                  const std::vector<TItem>& items, const TPropertyChoice& choice) {
    std::vector<unsigned> marks(items.size(), 0);
    for (size_t j = 0; j < items.size(); ++j) {
        if (!SearchSaysEqual(session, catalog, choice, items[j], items[j])) continue;
        marks[j] = static_cast<unsigned>(j + 1);
        for (size_t i = 0; i < j; ++i) {
            if (marks[i] != 0 && SearchSaysEqual(session, catalog, choice, items[i], items[j])) {
                marks[j] = marks[i];
                break;
            }
        }
    }
    // A store that does not know a name does not tell what a missing value counts as; beside another store's item the
    // search knows.
    for (size_t j = 0; j < items.size(); ++j) {
        for (size_t i = 0; i < items.size() && marks[j] == 0; ++i) {
            if (marks[i] != 0 && SearchSaysEqual(session, catalog, choice, items[i], items[j]))
                marks[j] = marks[i];
        }
    }
    return marks;
}

// Marks of values that are equal when they read alike.
std::vector<unsigned> TextMarks(const std::vector<std::string>& texts) {
    std::vector<unsigned> marks;
    marks.reserve(texts.size());
    for (const std::string& text : texts) {
        const auto first = std::find(texts.begin(), texts.end(), text);
        marks.push_back(text.empty() ? 0 : static_cast<unsigned>(first - texts.begin()) + 1);
    }
    return marks;
}

// Marks of values that the search is known to take for equal: one for all that there are.
std::vector<unsigned> EqualMarks(const std::vector<std::string>& texts) {
    const auto first =
        std::find_if(texts.begin(), texts.end(), [](const std::string& text) { return !text.empty(); });
    std::vector<unsigned> marks;
    marks.reserve(texts.size());
    for (const std::string& text : texts)
        marks.push_back(text.empty() ? 0 : static_cast<unsigned>(first - texts.begin()) + 1);
    return marks;
}

EVerdict Judge(const std::vector<unsigned>& marks) {
    unsigned value = 0;
    bool hasEmpty = false;
    for (const unsigned mark : marks) {
        if (mark == 0) {
            hasEmpty = true;
        } else if (value == 0) {
            value = mark;
        } else if (value != mark) {
            return EVerdict::Different;
        }
    }
    if (value == 0) return EVerdict::AllEmpty;
    return hasEmpty ? EVerdict::OneSided : EVerdict::Equal;
}

std::string Listed(const std::vector<std::string>& names) {
    std::string text;
    for (size_t i = 0; i < names.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + names[i];
    }
    return text;
}

std::string Sentence(const TMatrixView& view, const TDefinitions& definitions) {
    if (!view.apart.empty()) return "These items are kept apart by " + Listed(view.apart) + ".";
    const bool sharesValue = std::any_of(view.rows.begin(), view.rows.end(), [](const TMatrixRow& row) {
        return row.verdict == EVerdict::Equal;
    });
    if (!sharesValue) return "These items have no compared value in common.";
    return definitions.exceptions.empty() ? "Nothing keeps these items apart: they are duplicates."
                                          : "No property keeps these items apart: they are duplicates "
                                            "unless "
                                            "an exception rule exempts them.";
}

// A last row for what the attachments hold, when there are any.
void AddAttachments(IMAPISession* session, const TCatalog& catalog, const std::vector<TItem>& items,
                    const TDefinitions& definitions, TMatrixView& view) {
    TAttachmentMarks attachments = CompareAttachments(session, catalog, items);
    TMatrixRow row{"Attachments", std::move(attachments.marks), std::move(attachments.names),
                   EVerdict::Equal};
    row.verdict = Judge(row.marks);
    if (row.verdict == EVerdict::AllEmpty) return;
    if (definitions.attachments && row.verdict != EVerdict::Equal) view.apart.push_back(row.property);
    view.rows.push_back(std::move(row));
}

}  // namespace

TMatrixView BuildMatrix(IMAPISession* session, const TCatalog& catalog, const std::vector<TItem>& items,
                        const TDefinitions& definitions, size_t limit, EMatrixItems known) {
    CPropertyList properties(definitions);
    const std::unique_ptr<HCmpMatrix, TMatrixDeleter> matrix(CmpMatrix_Create(session, properties.get()));
    if (!matrix) throw TFailure("The comparison matrix cannot be created.");
    std::vector<ComPtr<IMessage>> messages;
    for (const TItem& item : items) {
        ComPtr<IMessage> message;
        if (!CmpMatrix_Add(matrix.get(), item.entryId.c_str(), StoreId(catalog, item).c_str()) ||
            Quorvel_OpenItem(session, item.entryId.c_str(), StoreId(catalog, item).c_str(),
                             message.GetAddressOf()) != S_OK) {
            throw TFailure("The item " + Place(catalog, item) + " cannot be read.");
        }
        messages.push_back(message);
    }
    TMatrixView view;
    for (size_t column = 0; column < definitions.properties.size(); ++column) {
        const TPropertyChoice& choice = definitions.properties[column];
        TMatrixRow row;
        row.property = Narrow(choice.property->name);
        bool hasRawMark = false;
        for (size_t i = 0; i < items.size(); ++i) {
            const unsigned mark =
                CmpMatrix_Value(matrix.get(), static_cast<int>(i), static_cast<int>(column));
            hasRawMark = hasRawMark || mark != 0;
            row.marks.push_back(mark);
            row.texts.push_back(ShowValue(messages[i].Get(), *choice.property, limit));
        }
        std::vector<unsigned> searchMarks(items.size(), 0);
        if (choice.compare) {
            searchMarks = known == EMatrixItems::Duplicates   ? EqualMarks(row.texts)
                          : known == EMatrixItems::Resembling ? TextMarks(row.texts)
                                                              : SearchMarks(session, catalog, items, choice);
        }
        // The matrix has no column for derived properties: the search marks those. And the size that it has
        // is the store's, not the one that is compared.
        if (choice.property->tag == PR_MESSAGE_SIZE) {
            row.marks = TextMarks(row.texts);
        } else if (!hasRawMark) {
            row.marks = searchMarks;
        }
        // What cannot be read is nobody's equal, and not nothing either.
        for (size_t i = 0; i < items.size(); ++i) {
            if ((row.marks[i] != 0 && (!choice.compare || searchMarks[i] != 0)) ||
                !IsUnreadable(messages[i].Get(), *choice.property)) {
                continue;
            }
            row.marks[i] = searchMarks[i] = static_cast<unsigned>(i + 1);
            row.texts[i] = "(cannot be read)";
        }
        row.verdict = Judge(choice.compare ? searchMarks : row.marks);
        const bool isApart = row.verdict == EVerdict::Different ||
                             (row.verdict == EVerdict::OneSided && definitions.algorithm == saIdentical);
        if (choice.compare && isApart) view.apart.push_back(row.property);
        view.rows.push_back(std::move(row));
    }
    AddAttachments(session, catalog, items, definitions, view);
    view.sentence = Sentence(view, definitions);
    return view;
}

const char* VerdictName(EVerdict verdict) {
    static constexpr const char* kNames[] = {"equal", "empty", "one-sided", "different"};
    return kNames[static_cast<size_t>(verdict)];
}

std::string MatrixTable(const TMatrixView& view, const TCatalog& catalog, const std::vector<TItem>& items) {
    constexpr size_t kNameWidth = 22;
    constexpr size_t kVerdictWidth = 9;
    constexpr size_t kCellWidth = 32;
    const auto letter = [](size_t i) {
        return std::string(1, static_cast<char>('A' + static_cast<int>(i % 26)));
    };
    std::string text;
    for (size_t i = 0; i < items.size(); ++i) {
        text += letter(i) + "  " + Place(catalog, items[i]) + "  " + items[i].title + "\n";
    }
    text += "\n" + Fit("", kNameWidth) + "  " + Fit("", kVerdictWidth);
    for (size_t i = 0; i < items.size(); ++i) text += "  " + Fit(letter(i), kCellWidth);
    text += "  merged\n";
    for (const TMatrixRow& row : view.rows) {
        text += Fit(row.property, kNameWidth) + "  " + Fit(VerdictName(row.verdict), kVerdictWidth);
        for (size_t i = 0; i < row.marks.size(); ++i) {
            const std::string mark = row.marks[i] == 0 ? "-" : std::to_string(row.marks[i]);
            text += "  " + Fit(mark + " " + OneLine(row.texts[i]), kCellWidth);
        }
        text += "  " + OriginText(row);
        text.erase(text.find_last_not_of(' ') + 1);
        text += "\n";
    }
    return text + "\nEqual numbers in a row are equal values; merged: where it would come from.\n" +
           view.sentence + "\n";
}

std::string MatrixJson(const TMatrixView& view, const TCatalog& catalog, const std::vector<TItem>& items) {
    using json = nlohmann::ordered_json;
    json report{{"format", "quorvel-matrix"}, {"version", 1}};
    report["items"] = json::array();
    for (const TItem& item : items) {
        report["items"].push_back(
            json{{"place", Place(catalog, item)}, {"title", item.title}, {"entryId", item.entryId}});
    }
    report["rows"] = json::array();
    for (const TMatrixRow& row : view.rows) {
        report["rows"].push_back(json{{"property", row.property},
                                      {"verdict", VerdictName(row.verdict)},
                                      {"marks", row.marks},
                                      {"values", row.texts},
                                      {"from", row.from},
                                      {"left", row.left}});
    }
    report["apart"] = view.apart;
    report["sentence"] = view.sentence;
    return EscapeActing(report.dump(1, ' ', false, json::error_handler_t::replace)) + "\n";
}

}  // namespace host
