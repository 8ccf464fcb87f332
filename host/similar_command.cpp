#include "host/similar_command.h"

#include <algorithm>
#include <map>
#include <memory>

#include "host/similar_not_same.h"
#include "host/text.h"
#include "quorvel.h"

namespace host {

namespace {

struct TSimilarDeleter {
    using pointer = HSimilarSearch;
    void operator()(HSimilarSearch search) const { SimilarSearch_Delete(search); }
};
using SimilarSearch = std::unique_ptr<HSimilarSearch, TSimilarDeleter>;

/// Ctrl-C is looked for after so many comparisons.
constexpr size_t kComparedAtOnce = 4096;

const std::string& StoreId(const TSimilarResult& result, const TItem& item) {
    return result.catalog.stores[result.catalog.folders[item.folder].store].entryId;
}

ComPtr<IMessage> OpenContact(IMAPISession* session, const TSimilarResult& result, size_t contact) {
    const TItem& item = result.contacts[contact];
    ComPtr<IMessage> message;
    if (Quorvel_OpenItem(session, item.entryId.c_str(), StoreId(result, item).c_str(),
                         message.GetAddressOf()) != S_OK)
        return {};
    return message;
}

std::vector<size_t> ChooseContacts(const TSimilarResult& result, const std::string& contact) {
    std::vector<size_t> chosen;
    std::vector<std::string> names;
    for (size_t i = 0; i < result.contacts.size(); ++i) {
        const TItem& item = result.contacts[i];
        names.push_back(item.title);
        if (contact.empty() || EqualNoCase(item.title, contact) || EqualNoCase(item.entryId, contact) ||
            EqualNoCase(Place(result.catalog, item), contact)) {
            chosen.push_back(i);
        }
    }
    if (chosen.empty() && !contact.empty()) {
        throw TFailure("There is no contact \"" + contact + "\"." + Suggestion(contact, names));
    }
    return chosen;
}

void ReadContacts(IMAPISession* session, const TSimilarOptions& options, TSimilarResult& result) {
    result.catalog = ReadCatalog(session);
    std::vector<size_t> chosen;
    for (const std::string& path : options.folders) {
        for (const size_t folder : FindFolders(result.catalog, path)) chosen.push_back(folder);
    }
    for (size_t i = 0; i < result.catalog.folders.size(); ++i) {
        const bool isChosen =
            options.folders.empty() || std::find(chosen.begin(), chosen.end(), i) != chosen.end();
        if (isChosen && result.catalog.folders[i].kind == EKind::Contact)
            ReadItems(session, result.catalog, i, result.contacts);
    }
    result.filled.assign(result.contacts.size(), 0);
}

/// Holds contacts against each other, of twins the first one for all.
class CComparing {
  public:
    // One search for each store: the search reopens contacts in the store that it was created for.
    CComparing(IMAPISession* session, const std::string& storeId, TSimilarResult& result)
        : m_pSession(session),
          m_result(result),
          m_isLeftOut(result.contacts.size()),
          m_twins(result.contacts.size()),
          m_search(SimilarSearch_Create(session, storeId.c_str(), 0)) {
        if (!m_search) throw TFailure("The similar-contact search cannot be created.");
    }

    void Read(bool joinTwins, CProgress& progress) {
        // A contact that somebody said is not the same as another one has no twins: it is compared by itself.
        std::set<uint32_t> said;
        for (const auto& [a, b] : m_result.notSame) said.insert({a, b});
        CTwinFinder finder(m_pSession, m_result.catalog, m_result.contacts);
        std::set<std::string> identifiers;
        for (uint32_t i = 0; i < m_result.contacts.size(); ++i) {
            if (!identifiers.insert(m_result.contacts[i].entryId).second)
                LeaveOut(i, &m_result.sameIdentifier);
            else
                ReadContact(i, joinTwins && !said.contains(i) ? &finder : nullptr);
            progress("contacts read", i + 1, m_result.contacts.size());
            StopIfInterrupted();
        }
    }

    const TTwins& Twins() const { return m_twins; }

    bool IsLeftOut(size_t contact) const { return m_isLeftOut[contact]; }

    bool SearchBy(uint32_t contact) {
        m_nSearchBy = kNobody;
        const ComPtr<IMessage> message = OpenContact(m_pSession, m_result, contact);
        if (!message ||
            !SimilarSearch_SetSearchByItem(m_search.get(), message.Get(), &m_result.filled[contact]))
            return false;
        m_nSearchBy = contact;
        return true;
    }

    /// The verdict; texts, when given, receive the library's words.
    unsigned Check(uint32_t contact, const wchar_t** explanation = nullptr,
                   const wchar_t** fields = nullptr) {
        unsigned verdict = 0, filled = 0;
        if (!SimilarSearch_CheckItemFastW(m_search.get(), m_result.contacts[contact].entryId.c_str(),
                                          &verdict, &filled, explanation, fields))
            return 0;
        if (verdict != 0) m_result.filled[contact] = filled;
        return verdict;
    }

    bool AreRelated(uint32_t a, uint32_t b) {
        if (m_nSearchBy != a && !SearchBy(a)) return false;
        return Check(b) != 0;
    }

  private:
    static constexpr uint32_t kNobody = ~0u;

    void ReadContact(uint32_t contact, CTwinFinder* finder) {
        const ComPtr<IMessage> message = OpenContact(m_pSession, m_result, contact);
        if (!message) return LeaveOut(contact, &m_result.unreadable);
        if (const auto twin = finder ? finder->Find(contact, message.Get()) : std::nullopt;
            twin && !m_isLeftOut[*twin])
            m_twins.Join(*twin, contact);
        else if (!SimilarSearch_AddToCache(m_search.get(), message.Get()))
            LeaveOut(contact, &m_result.unreadable);
    }

    void LeaveOut(size_t contact, std::vector<size_t>* list) {
        list->push_back(contact);
        m_isLeftOut[contact] = true;
    }

    IMAPISession* m_pSession;
    TSimilarResult& m_result;
    std::vector<bool> m_isLeftOut;
    TTwins m_twins;
    SimilarSearch m_search;
    uint32_t m_nSearchBy = kNobody;
};

/// The reasons that turned up, each once.
class CReasons {
  public:
    explicit CReasons(std::vector<TReason>& reasons) : m_reasons(reasons) {}

    uint32_t Find(bool isStrict, const wchar_t* explanation, const wchar_t* fields) {
        const auto [known, isNew] =
            m_byText.try_emplace(explanation, static_cast<uint32_t>(m_reasons.size()));
        if (isNew) {
            TReason reason{isStrict, Narrow(fields), Narrow(explanation), 0};
            reason.strength = StrengthOf(reason.fields, reason.explanation);
            m_reasons.push_back(std::move(reason));
        }
        return known->second;
    }

  private:
    std::vector<TReason>& m_reasons;
    std::map<std::wstring, uint32_t> m_byText;
};

/// A contact that resembles the one searched by: the first such of its twins, and the one that stands for them.
struct THit {
    uint32_t contact;
    uint32_t first;
    uint32_t reason;
};

/// Compares until all is done or Ctrl-C is pressed.
class CAllPairs {
  public:
    CAllPairs(CComparing& comparing, const TSimilarOptions& options, TSimilarResult& result,
              CProgress& progress)
        : m_comparing(comparing),
          m_twins(comparing.Twins()),
          m_options(options),
          m_result(result),
          m_progress(progress),
          m_bOne(!options.contact.empty()),
          m_reasons(result.reasons) {}

    CResembling Compare(const std::vector<size_t>& chosen) {
        for (const size_t contact : chosen) m_result.toCompare += PairsWith(contact);
        for (const size_t contact : chosen) {
            const auto one = static_cast<uint32_t>(contact);
            if (m_twins.first[one] != one) continue;
            if (m_twins.HasTwins(one)) m_withTwins.push_back(one);
            if (!m_comparing.IsLeftOut(one) && m_comparing.SearchBy(one)) SearchBy(one);
            m_result.isInterrupted = Interrupted();
            if (m_result.isInterrupted) break;
            for (const uint32_t member : m_twins.members[one]) m_result.compared += PairsWith(member);
            ShowProgress(0);
        }
        return std::move(m_resembling);
    }

  private:
    size_t PairsWith(size_t contact) const { return m_twins.first.size() - 1 - (m_bOne ? 0 : contact); }

    void ShowProgress(size_t checked) {
        m_progress("pairs compared", static_cast<size_t>(m_result.compared) + checked,
                   static_cast<size_t>(m_result.toCompare));
    }

    void SearchBy(uint32_t one) {
        m_hits.clear();
        const size_t begin = m_bOne ? 0 : one + size_t{1};
        for (size_t b = begin; b < m_twins.first.size(); ++b) {
            if (b % kComparedAtOnce == 0) {
                ShowProgress(b - begin);
                if (Interrupted()) break;
            }
            const auto other = static_cast<uint32_t>(b);
            if (other != one && m_twins.first[other] == other && !m_comparing.IsLeftOut(other))
                Check(other, other);
        }
        // Of those before it, and of its own, the twins that come behind it
        const size_t inOrder = m_hits.size();
        for (const uint32_t first : m_withTwins) {
            const std::vector<uint32_t>& members = m_twins.members[first];
            const auto later = std::upper_bound(members.begin(), members.end(), one);
            if (later != members.end()) Check(*later, first);
        }
        if (m_hits.size() > inOrder)
            std::sort(m_hits.begin(), m_hits.end(),
                      [](const THit& a, const THit& b) { return a.contact < b.contact; });
        for (const THit& hit : m_hits) Take(one, hit);
    }

    void Check(uint32_t contact, uint32_t first) {
        const wchar_t *explanation = nullptr, *fields = nullptr;
        if (const unsigned verdict = m_comparing.Check(first, &explanation, &fields))
            m_hits.push_back({contact, first, m_reasons.Find(verdict == 2, explanation, fields)});
    }

    void Take(uint32_t one, const THit& hit) {
        if (m_result.notSame.contains(std::minmax(one, hit.contact))) {
            ++m_result.notSamePairs;
            return;
        }
        const TSimilarPair pair{one, hit.contact, hit.reason};
        const TReason& reason = m_result.reasons[hit.reason];
        (reason.strict ? m_result.strictPairs : m_result.similarPairs) += m_twins.PairsOf(one, hit.first);
        if (reason.strict || m_options.pairs)
            m_result.pairs.push_back(pair);
        else
            m_resembling.Add(pair, reason, m_twins);
    }

    CComparing& m_comparing;
    const TTwins& m_twins;
    const TSimilarOptions& m_options;
    TSimilarResult& m_result;
    CProgress& m_progress;
    const bool m_bOne;
    CReasons m_reasons;
    CResembling m_resembling;
    std::vector<uint32_t> m_withTwins;  // that were searched by
    std::vector<THit> m_hits;
};

}  // namespace

TSimilarResult FindSimilar(IMAPISession* session, const TSimilarOptions& options, CProgress& progress) {
    TSimilarResult result;
    ReadContacts(session, options, result);
    if (!options.notSame.empty()) ReadNotSame(options.notSame, &result);
    const std::vector<size_t> chosen = ChooseContacts(result, options.contact);
    if (chosen.empty()) return result;
    CComparing comparing(session, StoreId(result, result.contacts[chosen[0]]), result);
    comparing.Read(options.contact.empty() && !options.pairs, progress);
    const CResembling resembling = CAllPairs(comparing, options, result, progress).Compare(chosen);
    if (options.pairs) return result;
    progress("clusters formed");
    const size_t count = result.contacts.size();
    const TTwins& twins = comparing.Twins();
    for (size_t i = 0; i < count; ++i) result.filled[i] = result.filled[twins.first[i]];
    result.clusters =
        BuildClusters(twins, result.pairs, result.reasons, result.notSame,
                      [&comparing](uint32_t a, uint32_t b) { return comparing.AreRelated(a, b); });
    result.resembling = resembling.Lists();
    result.others = AttachResembling(count, result.resembling, &result.clusters);
    return result;
}

uint32_t MostFilled(const TSimilarResult& result, const TCluster& cluster) {
    return *std::max_element(cluster.contacts.begin(), cluster.contacts.end(),
                             [&](uint32_t a, uint32_t b) { return result.filled[a] < result.filled[b]; });
}

std::string NameOf(const TSimilarResult& result, uint32_t contact) {
    const std::string& title = result.contacts[contact].title;
    return title.empty() ? "(no name)" : OneLine(title);
}

std::string CutText(const TSimilarResult& result, const TCut& cut) {
    const auto named = [&](uint32_t contact) {
        return NameOf(result, contact) + " (" + Place(result.catalog, result.contacts[contact]) + ")";
    };
    const bool isSaid = result.notSame.contains(std::minmax(cut.strangers[0], cut.strangers[1]));
    return named(cut.pair.a) + " and " + named(cut.pair.b) + " agree by " +
           result.reasons[cut.pair.reason].fields + ", but " + named(cut.strangers[0]) + " and " +
           named(cut.strangers[1]) + (isSaid ? " are not the same" : " share nothing");
}

}  // namespace host
