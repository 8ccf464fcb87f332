// The module as a host loads it: by name, with nothing of this program's own copy of the library.

#include <gtest/gtest.h>
#include <mapix.h>
#include <windows.h>
#include <oaidl.h>

#include <string>

#include "tests/support/CapturedLog.h"

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

TEST_F(Module, CompatibleCode) {
    auto* code = Find<int()>("Quorvel_GetCompatibleCode");
    EXPECT_EQ(code(), 4);
    EXPECT_EQ(code(), 4);
}

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
        const char* name;
        const char* arguments;
        bool traced;
    } cases[] = {
        {"Quorvel_Logoff", "o", true},
        {"Quorvel_OpenStore", "otp", true},
        {"Quorvel_OpenStoreFolder", "otp", true},
        {"Quorvel_OpenStoreItem", "otp", true},
        {"Quorvel_OpenFolderItem", "otp", true},
        {"Quorvel_OpenItem", "ottp", true},
        {"Quorvel_OpenItemEx", "ott0p", true},
        {"Quorvel_GetIMessage", "vp0", true},
        {"Quorvel_GetIMessageNet", "op0", true},
        {"Quorvel_EntryID2Str", "o", true},
        {"Quorvel_GetServiceProps", "otpppp", true},
        {"Quorvel_GetStoreType", "otp", true},
        {"Quorvel_IsStoreLocal", "otp", true},
        {"Quorvel_GetPropValues", "ogpp", true},
        {"Quorvel_GetPropValuesInOneMValue", "ogp", true},
        {"Quorvel_GetStreamPropValue", "o0pp0", true},
        {"Quorvel_StreamPropSize", "o0p", true},
        {"Quorvel_StreamPropEmpty", "o0pp", true},
        {"Quorvel_GetSubjectSize", "o0p00", true},
        {"Quorvel_GetSubjectBodyAttachmentsSize", "o000", true},
        {"Quorvel_GetIDFromName", "opp", true},
        {"Quorvel_GetIDFromName2", "ot00", true},
        {"Quorvel_GetIDsFromNames", "o0pp", true},
        {"Quorvel_ResolveTags", "op", true},
        {"Quorvel_GetAttachments", "opp", true},
        {"Quorvel_GetAttachmentsSize", "op", true},
        {"Quorvel_OpenAttachment", "o0p", true},
        {"Quorvel_CopyAttachment", "opo00", true},
        {"Quorvel_DeleteAttachment", "o00", true},
        {"Quorvel_SetPhotoAttachment", "opo00", true},
        {"Quorvel_ClearHasPhotoFlag", "o0", true},
        {"Quorvel_FindItem", "opp", true},
        {"Quorvel_ItemMove", "otttttp", true},
        {"Quorvel_GetPropValue", "o0p", false},
        {"Quorvel_SaveItem", "o0", false},
        {"Quorvel_CloseItem", "o", false},
        {"Quorvel_CountProps", "ogp0", false},
        {"Quorvel_CountProps2", "p0p0", false},
        {"Quorvel_CountStreamProps", "ogp0", false},
        {"Quorvel_CompareStreamProp", "oo0pp", false},
        {"Quorvel_ComparePropValues", "00p0", false},
        {"Quorvel_IsEmptyValue", "0pp", false},
        {"Quorvel_IsMVPropsIntersects", "0pp0", false},
        {"Quorvel_GetFilenameErr", "", false},
        {"Appointment_AllDayEventLike", "op0", false},
        {"Appointment_AllDayEventLikeEx", "op0p", false},
        {"Normalize_BirthdayOrAnnvrsrySubject", "p0", false},
        {"Normalize_BirthdayOrAnnvrsrySubjectW", "p0", false},
        {"Search_Add", "http0", false},
        {"Search_Build", "h", false},
        {"Search_GetOriginalCount", "h", false},
        {"Search_GetOriginal", "h0pppp", false},
        {"Search_GetDuplicateCount", "h0", false},
        {"Search_GetDuplicate", "h00pppp", false},
        {"Search_Delete", "h", true},
        {"Search_Create2", "0000000", true},
        {"CmpMatrix_Create", "o0", true},
        {"CmpMatrix_CreateEx", "o00", true},
        {"CmpMatrix_Add", "0tt", false},
        {"CmpMatrix_Size", "0pp", false},
        {"CmpMatrix_Value", "000", false},
        {"CmpMatrix_BuildAttachMatrix", "0", false},
        {"CmpMatrix_AttachCount", "0", false},
        {"FCI_Create", "00", false},
        {"FCI_AddFile", "0tt", false},
        {"FCI_FlushCabinet", "0", false},
    };
    using Word = UINT_PTR;
    using Export = Word(Word, Word, Word, Word, Word, Word, Word);  // unneeded arguments do no harm
    const auto word = [](const auto* pointer) { return reinterpret_cast<Word>(pointer); };
    Refuser refuser;
    const Word object = word(refuser.Interface());
    const Word search = Find<Export>("Search_Create")(object, 0, 0, 0, 0, 0, 0);
    for (const auto& one : cases) {
        SCOPED_TRACE(one.name);
        VARIANT variant{};
        variant.vt = VT_UNKNOWN;
        variant.punkVal = static_cast<IUnknown*>(refuser.Interface());
        ULONG tags[] = {1, PROP_TAG(PT_LONG, 0x6700)};
        Word memory[7][64]{};
        Word arguments[7]{};
        for (size_t i = 0; one.arguments[i]; ++i) {
            switch (one.arguments[i]) {
                case 'o':
                    arguments[i] = object;
                    break;
                case 'v':
                    arguments[i] = word(&variant);
                    break;
                case 't':
                    arguments[i] = word("00");
                    break;
                case 'g':
                    arguments[i] = word(tags);
                    break;
                case 'p':
                    arguments[i] = word(memory[i]);
                    break;
                case 'h':
                    arguments[i] = search;
                    break;
            }
        }
        DeleteFileA(logPath.c_str());
        ConfigLog(nullptr, logPath.c_str(), 2, 0);
        const auto& [a, b, c, d, e, f, g] = arguments;
        const Word result = Find<Export>(one.name)(a, b, c, d, e, f, g);
        ConfigLog(nullptr, nullptr, 0, 0);
        if (one.name == std::string("Search_Create2")) Find<void(Word)>("Search_Delete")(result);

        LogLines traces = Log();
        EXPECT_TRUE(!one.traced || (!traces.empty() && traces[0].text == "->\n")) << "not the first line";
        std::erase_if(traces, [](const LogLine& line) { return line.text != "->\n"; });
        EXPECT_EQ(traces, one.traced ? LogLines({{sevInfo, one.name, "->\n"}}) : LogLines());
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
