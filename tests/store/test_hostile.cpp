// A platform that says more than it did: what it claims is never trusted beyond what was asked of it.

#include <cstring>

#include "base/mapi_extra.h"
#include "quorvel.h"
#include "store/checked_calls.h"
#include "store/streams.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/MailboxFixture.h"

using store::ComPtr;
using store::MapiBuffer;

namespace {

/// A stream whose Read gives the text "abc", and says of it what it was told to.
class CClaimingStream : public IStream {
  public:
    CClaimingStream(HRESULT result, ULONG claimed) : m_result(result), m_claimed(claimed) {}
    HRESULT STDMETHODCALLTYPE Read(void* bytes, ULONG size, ULONG* read) override {
        std::memcpy(bytes, "abc", size < 3 ? size : 3);
        *read = m_claimed;
        return m_result;
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE Write(const void*, ULONG, ULONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Revert() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Clone(IStream**) override { return E_NOTIMPL; }

  private:
    HRESULT m_result;
    ULONG m_claimed;
};

class Hostile : public MailboxTest {};

TEST_F(Hostile, ReadsAreTakenAtWhatWasAsked) {
    const struct {
        HRESULT result;
        ULONG claimed;
        HRESULT expected;
        ULONG read;
    } rows[] = {{S_OK, 3, S_OK, 3},
                {S_OK, 0xFFFFFFFF, S_OK, 3},
                {S_FALSE, 2, S_OK, 2},
                {S_FALSE, 0, S_OK, 0},
                {S_FALSE, 4, S_OK, 3},
                {E_FAIL, 3, E_FAIL, 0},
                {MAPI_W_PARTIAL_COMPLETION, 3, MAPI_W_PARTIAL_COMPLETION, 0}};
    for (const auto& row : rows) {
        CClaimingStream stream(row.result, row.claimed);
        char bytes[3];
        ULONG read = 77;
        EXPECT_EQ(store::ReadStream(&stream, bytes, sizeof bytes, &read), row.expected);
        EXPECT_EQ(read, row.read) << row.claimed;
    }
}

// A stream that gave less and said so: everywhere a success, and what is returned says success too.
TEST_F(Hostile, ShortReadsAreSuccess) {
    const ComPtr<IMessage> message = Open(Inbox().Item().Body(L"body"));
    const auto shorten = [] {
        mailbox::calls::Fail({.method = "IStream::Read", .result = S_FALSE, .times = 9, .perform = true});
    };
    CapturedLog log;
    MapiBuffer<void> buffer;
    ULONG count = 0, size = 0;
    int empty = 1;
    long result = 77;
    bool compared = false;
    shorten();
    EXPECT_EQ(Quorvel_GetStreamPropValue(message.Get(), PR_BODY_W, store::Out(buffer), &count, 1), S_OK);
    EXPECT_EQ(count, 8u);
    EXPECT_EQ(Quorvel_StreamPropEmpty(message.Get(), PR_BODY_W, &empty, &size), S_OK);
    EXPECT_EQ(empty, 0);
    EXPECT_EQ(Quorvel_CompareStreamProp(message.Get(), message.Get(), PR_BODY_W, &result, &compared), S_OK);
    EXPECT_TRUE(compared && result == 0);
    EXPECT_EQ(log.Lines(), LogLines());
    mailbox::calls::Reset();
}

TEST_F(Hostile, RowsMayEndBeforeTheirColumns) {
    SPropValue values[2] = {};
    const SRow none{0, 0, nullptr}, claimed{0, 2, nullptr}, one{0, 1, values};
    EXPECT_EQ(store::ColumnOf(none, 0), nullptr);
    EXPECT_EQ(store::ColumnOf(claimed, 0), nullptr);
    EXPECT_EQ(store::ColumnOf(one, 0), values);
    EXPECT_EQ(store::ColumnOf(one, 1), nullptr);
    char text[] = "mspst.dll";
    values[0].ulPropTag = PR_SERVICE_DLL_NAME_A;
    EXPECT_EQ(store::TextOf(one, 0), nullptr) << "a text that is null";
    values[0].Value.lpszA = text;
    EXPECT_EQ(store::TextOf(one, 0), text);
    EXPECT_EQ(store::TextOf(one, 1), nullptr);
    values[0].ulPropTag = CHANGE_PROP_TYPE(PR_SERVICE_DLL_NAME_A, PT_ERROR);
    EXPECT_EQ(store::TextOf(one, 0), nullptr);
}

TEST_F(Hostile, TextsEndBehindTheirLastWholeCharacter) {
    // As many bytes as a buffer of GetStreamPropValue has: two more than were read.
    const struct {
        ULONG bytes;
        size_t wide, narrow;
    } rows[] = {{0, 0, 0}, {1, 0, 1}, {5, 2, 5}, {6, 3, 6}};
    for (const auto& row : rows) {
        const auto fill = [&] {
            auto text = std::make_unique<char[]>(row.bytes + 2);
            std::memset(text.get(), 'x', row.bytes);
            std::memset(text.get() + row.bytes, 0, 2);
            return text;
        };
        EXPECT_EQ(store::EndText(reinterpret_cast<wchar_t*>(fill().get()), row.bytes), row.wide);
        EXPECT_EQ(store::EndText(fill().get(), row.bytes), row.narrow);
    }
}

TEST_F(Hostile, NoTagsAreAnArgumentError) {
    const ComPtr<IMessage> message = Open(Inbox().Item().Subject(L"x"));
    mailbox::calls::Record();
    ULONG count = 7;
    long filled = 7;
    SPropValue* values = nullptr;
    EXPECT_EQ(Quorvel_GetPropValues(message.Get(), nullptr, &count, &values), -1);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(Quorvel_GetPropValuesInOneMValue(message.Get(), nullptr, &values), -1);
    EXPECT_EQ(Quorvel_CountProps(message.Get(), nullptr, &filled, nullptr), -1);
    EXPECT_EQ(Quorvel_CountStreamProps(message.Get(), nullptr, &filled, nullptr), -1);
    EXPECT_EQ(filled, 0);
    EXPECT_EQ(mailbox::calls::Count(), 0u);
}

}  // namespace
