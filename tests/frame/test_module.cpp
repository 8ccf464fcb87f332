// The module as a host loads it: by name, with nothing of this program's own copy of the library.

#include <gtest/gtest.h>
#include <mapix.h>
#include <windows.h>
#include <oaidl.h>

#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/CapturedLog.h"

using enum logging::ESeverity;

namespace {
class Module : public testing::Test {
  protected:
    void SetUp() override {
        char path[MAX_PATH];
        GetModuleFileNameA(nullptr, path, MAX_PATH);
        std::string file = path;
        file = file.substr(0, file.rfind('\\') + 1) + "Quorvel.dll";
        m_module = LoadLibraryA(file.c_str());
        ASSERT_NE(m_module, nullptr) << file;
    }
    void TearDown() override { Unload(); }
    void Unload() {
        if (m_module != nullptr) FreeLibrary(m_module);
        m_module = nullptr;
    }

    template <typename Function>
    Function* Find(const char* name) {
        const FARPROC found = GetProcAddress(m_module, name);
        EXPECT_NE(found, nullptr) << name;
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(found));
    }
    void ConfigLog(const char* err, const char* log, int verbosity, int extra) {
        Find<void(const char*, const char*, int, int, int)>("Quorvel_ConfigLogEx")(err, log, 0, verbosity,
                                                                                   extra);
    }
    LogLines Log() const { return ParseLog(ReadWholeFile(logPath)); }

    TemporaryFolder folder;
    const std::string logPath = folder.File("log.txt");

  private:
    HMODULE m_module = nullptr;
};

TEST_F(Module, DeleteOfNullLeavesItsTraceOnly) {
    struct Case {
        const char* name;
        int extra;
        LogLines lines;
    };
    const Case cases[] = {
        {"Search_Delete", 1, {{sevInfo, "Search_Delete", "->\n"}}},
        {"CmpMatrix_Delete", 1, {{sevInfo, "CmpMatrix_Delete", "->\n"}}},
        {"SimilarSearch_Delete", 0, {{sevInfo, "SimilarSearch_Delete", "->\n"}}},
        {"SimilarSearch_Delete", 1, {{sevRaw, "", "\n"}, {sevInfo, "SimilarSearch_Delete", "->\n"}}},
        {"FCI_Delete", 1, {}},
    };
    for (const Case& c : cases) {
        DeleteFileA(logPath.c_str());
        ConfigLog(nullptr, logPath.c_str(), 2, c.extra);
        Find<void(void*)>(c.name)(nullptr);
        ConfigLog(nullptr, nullptr, 0, 0);
        EXPECT_EQ(Log(), c.lines) << c.name << ", extra logging " << c.extra;
    }
}

/// An object of any interface of the platform that refuses every call.
class Refuser {
  public:
    Refuser() {
        for (Method& method : m_methods) method = &Refuse;
    }

  private:
    using Method = HRESULT(STDMETHODCALLTYPE*)();
    static HRESULT STDMETHODCALLTYPE Refuse() { return E_FAIL; }

    Method m_methods[64]{};
    const void* m_table = m_methods;

  public:
    void* Interface() { return &m_table; }
};

// One letter an argument: o an object that refuses, v a variant with it, t a text, g a list of one tag,
// p cleared memory, h a search, 0 a zero or null.
TEST_F(Module, TracesTheEntryOfStoreAccessAndOfCreationAndDeletionOnly) {
    const struct {
        bool traced;
        const char *arguments, *names;
    } cases[] = {
        {true, "o", "Quorvel_Logoff Quorvel_EntryID2Str"},
        {true, "otp",
         "Quorvel_OpenStore Quorvel_OpenStoreFolder Quorvel_OpenStoreItem Quorvel_OpenFolderItem "
         "Quorvel_GetStoreType Quorvel_IsStoreLocal"},
        {true, "ottp", "Quorvel_OpenItem"},
        {true, "ott0p", "Quorvel_OpenItemEx"},
        {true, "vp0", "Quorvel_GetIMessage"},
        {true, "op0", "Quorvel_GetIMessageNet"},
        {true, "otpppp", "Quorvel_GetServiceProps"},
        {true, "ogpp", "Quorvel_GetPropValues"},
        {true, "ogp", "Quorvel_GetPropValuesInOneMValue"},
        {true, "o0pp0", "Quorvel_GetStreamPropValue"},
        {true, "o0p", "Quorvel_StreamPropSize Quorvel_OpenAttachment"},
        {true, "o0pp", "Quorvel_StreamPropEmpty Quorvel_GetIDsFromNames"},
        {true, "o0p00", "Quorvel_GetSubjectSize"},
        {true, "o000", "Quorvel_GetSubjectBodyAttachmentsSize"},
        {true, "opp", "Quorvel_GetIDFromName Quorvel_GetAttachments Quorvel_FindItem"},
        {true, "ot00", "Quorvel_GetIDFromName2"},
        {true, "op", "Quorvel_ResolveTags Quorvel_GetAttachmentsSize"},
        {true, "opo00", "Quorvel_CopyAttachment Quorvel_SetPhotoAttachment"},
        {true, "o00", "Quorvel_DeleteAttachment CmpMatrix_CreateEx"},
        {true, "o0", "Quorvel_ClearHasPhotoFlag CmpMatrix_Create"},
        {true, "otttttp", "Quorvel_ItemMove"},
        {false, "o0p", "Quorvel_GetPropValue"},
        {false, "o0", "Quorvel_SaveItem"},
        {false, "o", "Quorvel_CloseItem"},
        {false, "ogp0", "Quorvel_CountProps Quorvel_CountStreamProps"},
        {false, "p0p0", "Quorvel_CountProps2"},
        {false, "oo0pp", "Quorvel_CompareStreamProp"},
        {false, "00p0", "Quorvel_ComparePropValues"},
        {false, "0pp", "Quorvel_IsEmptyValue CmpMatrix_Size"},
        {false, "0pp0", "Quorvel_IsMVPropsIntersects"},
        {false, "", "Quorvel_GetFilenameErr"},
        {false, "op0", "Appointment_AllDayEventLike"},
        {false, "op0p", "Appointment_AllDayEventLikeEx"},
        {false, "p0", "Normalize_BirthdayOrAnnvrsrySubject Normalize_BirthdayOrAnnvrsrySubjectW"},
        {false, "http0", "Search_Add"},
        {false, "h", "Search_Build Search_GetOriginalCount"},
        {false, "h0pppp", "Search_GetOriginal"},
        {false, "h0", "Search_GetDuplicateCount"},
        {false, "h00pppp", "Search_GetDuplicate"},
        {true, "h", "Search_Delete"},
        {true, "0000000", "Search_Create2"},
        {false, "0tt", "CmpMatrix_Add FCI_AddFile"},
        {false, "000", "CmpMatrix_Value"},
        {false, "0", "CmpMatrix_BuildAttachMatrix CmpMatrix_AttachCount FCI_FlushCabinet"},
        {false, "00", "FCI_Create"},
    };
    using Word = UINT_PTR;
    using Export = Word(Word, Word, Word, Word, Word, Word, Word);  // unneeded arguments do no harm
    const auto word = [](const auto* pointer) { return reinterpret_cast<Word>(pointer); };
    Refuser refuser;
    const Word object = word(refuser.Interface());
    const Word search = Find<Export>("Search_Create")(object, 0, 0, 0, 0, 0, 0);
    std::vector<std::tuple<std::string, const char*, bool>> exports;
    for (const auto& one : cases) {
        std::istringstream names(one.names);
        for (std::string name; names >> name;) exports.emplace_back(name, one.arguments, one.traced);
    }
    for (const auto& [name, letters, traced] : exports) {
        SCOPED_TRACE(name);
        VARIANT variant{};
        variant.vt = VT_UNKNOWN;
        variant.punkVal = static_cast<IUnknown*>(refuser.Interface());
        ULONG tags[] = {1, PROP_TAG(PT_LONG, 0x6700)};
        Word memory[7][64]{};
        Word arguments[7]{};
        for (size_t i = 0; letters[i]; ++i) {
            const std::pair<char, Word> known[] = {
                {'o', object}, {'v', word(&variant)},  {'t', word("00")}, {'g', word(tags)},
                {'h', search}, {'p', word(memory[i])}, {'0', 0}};
            for (const auto& [letter, value] : known) {
                if (letter == letters[i]) arguments[i] = value;
            }
        }
        DeleteFileA(logPath.c_str());
        ConfigLog(nullptr, logPath.c_str(), 2, 0);
        const auto& [a, b, c, d, e, f, g] = arguments;
        const Word result = Find<Export>(name.c_str())(a, b, c, d, e, f, g);
        ConfigLog(nullptr, nullptr, 0, 0);
        if (name == "Search_Create2") Find<void(Word)>("Search_Delete")(result);

        LogLines traces = Log();
        EXPECT_TRUE(!traced || (!traces.empty() && traces[0].text == "->\n")) << "not the first line";
        std::erase_if(traces, [](const LogLine& line) { return line.text != "->\n"; });
        EXPECT_EQ(traces, traced ? LogLines({{sevInfo, name, "->\n"}}) : LogLines());
    }
}

TEST_F(Module, UnloadsAndClosesItsFiles) {
    ConfigLog(logPath.c_str(), logPath.c_str(), 2, 1);
    Find<void(void*)>("CmpMatrix_Delete")(nullptr);
    EXPECT_EQ(Log().size(), 1u);
    Unload();
    EXPECT_TRUE(DeleteFileA(logPath.c_str())) << "the log file is still open";
}

TEST_F(Module, HasOneCloseUnderThreeNames) {
    const void* item = reinterpret_cast<void*>(Find<void()>("Quorvel_CloseItem"));
    EXPECT_EQ(reinterpret_cast<void*>(Find<void()>("Quorvel_CloseFolder")), item);
    EXPECT_EQ(reinterpret_cast<void*>(Find<void()>("Quorvel_CloseStore")), item);
}
}  // namespace
