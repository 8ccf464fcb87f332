#include "dupsearch/CDuplicateSearch.h"

#include "base/text.h"
#include "compare/CThreadLocale.h"
#include "log/CLog.h"

namespace {
constexpr char kTag[] = "CDuplicateSearch.Create";
}

CDuplicateSearch::~CDuplicateSearch() = default;

void CDuplicateSearch::Create(IMAPISession* session, const TComparyProps* props,
                              const TOriginalDefinition* original, unsigned nCompareAlgorithm, bool bGrouped,
                              const unsigned* exceptions, unsigned cExceptions) {
    const CThreadLocale locale(m_locale);
    m_changes.clear();
    m_groups.clear();
    m_factsUpTo.clear();
    m_factsFailed.clear();
    m_bAllCounted = true;
    m_duplicates = {};
    m_matching.reset();
    m_preparation.reset();
    m_exceptions.clear();
    m_definitions = {};
    m_wanted = {};
    m_items = CItems(session);
    if (g_Log.IsExtra()) {
        const std::wstring rule(99, L'-');
        g_Log.Extra(L"%s\nNew Search\n%s\n", rule.c_str(), rule.c_str());
    }

    m_original = original ? *original : TOriginalDefinition{};
    m_nFieldIndex = -1;
    m_nCompareAlgorithm = nCompareAlgorithm;
    m_bGrouped = bGrouped;
    CopyFieldValue(m_original);
    CopyDefinitions(props);
    if (m_original.nKind == okFieldValue && (m_nFieldIndex == -1 || m_wanted.type != PT_UNICODE)) {
        g_Log.Error(kTag, "FieldValue original definition:bad field, using MostFilled\n");
        m_original.nKind = okMostFilled;
    }
    if (m_original.nKind > okHasCrmId) {
        g_Log.Error(kTag, "Invalid original definition(%d), using MostFilled\n", m_original.nKind);
        m_original.nKind = okMostFilled;
    }

    if (cExceptions == 0) return;
    if (exceptions) {
        m_exceptions.assign(exceptions, exceptions + cExceptions);
    } else {
        g_Log.Error(kTag, "cExceptions > 0 && lpExceptions == NULL\n");
    }
}

// The wanted text in lower case, as values are matched; an unusable one leaves the wanted type unset.
void CDuplicateSearch::CopyFieldValue(const TOriginalDefinition& original) {
    if (original.nKind != okFieldValue || !original.lpszValue) return;
    switch (original.nFieldType) {
        case PT_STRING8:
            m_wanted.text = base::Widen(static_cast<const char*>(original.lpszValue));
            break;
        case PT_UNICODE:
            m_wanted.text = static_cast<const wchar_t*>(original.lpszValue);
            break;
        default:
            return;
    }
    CharLowerW(m_wanted.text.data());
    m_wanted.type = PT_UNICODE;
}

void CDuplicateSearch::CopyDefinitions(const TComparyProps* props) {
    if (!props || !props->lpProps) return;
    for (int i = 0; i < props->n; ++i) {
        const TComparyProp& definition = props->lpProps[i];
        if (definition.nInterface > 1) {
            g_Log.Error(kTag, "Ignoring prop with not supported interface(%d)\n", definition.nInterface);
            continue;
        }
        m_definitions.Add(definition);
        if (m_original.nKind == okFieldValue && static_cast<unsigned>(i) == m_original.nField) {
            m_nFieldIndex = m_definitions.Count() - 1;
        }
    }
}
