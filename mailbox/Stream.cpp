#include "mailbox/Stream.h"

#include <wrl/client.h>

#include <algorithm>
#include <cstring>

#include "mailbox/PropObject.h"
#include "mailbox/text.h"

namespace mailbox {

namespace {

class Stream final : public ComObject<IStream, kStream> {
  public:
    Stream(StreamData data, PropCore& owner, StreamCommit commit)
        : m_data(std::move(data)),
          m_owner(owner),
          m_keepsOwner(owner.Unknown()),
          m_commit(std::move(commit)) {}

    HRESULT STDMETHODCALLTYPE Read(void* out, ULONG count, ULONG* read) override {
        if (read != nullptr) *read = 0;
        if (out == nullptr && count != 0) return STG_E_INVALIDPOINTER;
        return Call({"IStream::Read", m_owner.EntryId()}, [&] {
            wchar_t start[kStartUnits];
            const bool isStart = m_data.isText && m_position == 0 && count <= kMostOfStart;
            const std::string_view bytes = isStart ? StartOfText(count, start) : Bytes();
            size_t given = m_position < bytes.size() ? std::min<size_t>(count, bytes.size() - m_position) : 0;
            if (g_striking != nullptr && g_striking->limit)
                given = std::min<size_t>(given, *g_striking->limit);
            if (given != 0) std::memcpy(out, bytes.data() + m_position, given);
            m_position += given;
            if (read != nullptr) *read = static_cast<ULONG>(given);
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE Write(const void* from, ULONG count, ULONG* written) override {
        if (written != nullptr) *written = 0;
        if (from == nullptr && count != 0) return STG_E_INVALIDPOINTER;
        return Call({"IStream::Write", m_owner.EntryId()}, [&] {
            if (m_commit == nullptr) return STG_E_ACCESSDENIED;
            if (count == 0) return S_OK;
            std::string& bytes = OwnBytes();
            if (m_position + count > MAXLONG) return STG_E_MEDIUMFULL;
            if (bytes.size() < m_position + count) bytes.resize(m_position + count);
            std::memcpy(bytes.data() + m_position, from, count);
            m_position += count;
            if (written != nullptr) *written = count;
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) override {
        return Call({"IStream::Seek", m_owner.EntryId()}, [&] {
            long long base = 0;
            if (origin == STREAM_SEEK_CUR)
                base = static_cast<long long>(m_position);
            else if (origin == STREAM_SEEK_END)
                base = static_cast<long long>(Bytes().size());
            else if (origin != STREAM_SEEK_SET)
                return STG_E_INVALIDFUNCTION;
            if (move.QuadPart < -base || move.QuadPart > MAXLONGLONG - base) return STG_E_INVALIDFUNCTION;
            m_position = static_cast<size_t>(base + move.QuadPart);
            if (position != nullptr) position->QuadPart = m_position;
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) override {
        return Call({"IStream::SetSize", m_owner.EntryId()}, [&] {
            if (m_commit == nullptr) return STG_E_ACCESSDENIED;
            if (size.QuadPart > MAXLONG) return STG_E_MEDIUMFULL;
            OwnBytes().resize(static_cast<size_t>(size.QuadPart));
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER* read,
                                     ULARGE_INTEGER* written) override {
        if (target == nullptr) return STG_E_INVALIDPOINTER;
        return Call({"IStream::CopyTo", m_owner.EntryId()}, [&] {
            const std::string_view bytes = Bytes();
            const size_t left = m_position < bytes.size() ? bytes.size() - m_position : 0;
            const ULONG size = static_cast<ULONG>(std::min<unsigned long long>(count.QuadPart, left));
            ULONG taken = 0;
            const HRESULT hr = target->Write(bytes.data() + m_position, size, &taken);
            m_position += size;
            if (read != nullptr) read->QuadPart = size;
            if (written != nullptr) written->QuadPart = taken;
            return hr;
        });
    }

    HRESULT STDMETHODCALLTYPE Commit(DWORD) override {
        return Call({"IStream::Commit", m_owner.EntryId()},
                    [&] { return m_commit == nullptr ? S_OK : m_commit(OwnBytes()); });
    }
    HRESULT STDMETHODCALLTYPE Revert() override { return Unsupported("IStream::Revert"); }
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
        return Call({"IStream::LockRegion"}, [] { return STG_E_INVALIDFUNCTION; });
    }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
        return Call({"IStream::UnlockRegion"}, [] { return STG_E_INVALIDFUNCTION; });
    }

    HRESULT STDMETHODCALLTYPE Stat(STATSTG* stat, DWORD) override {
        if (stat == nullptr) return STG_E_INVALIDPOINTER;
        *stat = {};
        return Call({"IStream::Stat", m_owner.EntryId()}, [&] {
            stat->type = STGTY_STREAM;
            stat->cbSize.QuadPart = Bytes().size();
            if (g_striking != nullptr && g_striking->statSize) stat->cbSize.QuadPart = *g_striking->statSize;
            stat->grfMode = m_commit == nullptr ? STGM_READ : STGM_READWRITE;
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE Clone(IStream** out) override {
        if (out == nullptr) return STG_E_INVALIDPOINTER;
        *out = nullptr;
        return Unsupported("IStream::Clone");
    }

  protected:
    bool Implements(REFIID iid) const override {
        return iid == IID_IStream || iid == IID_ISequentialStream || iid == IID_IStreamDocfile;
    }

  private:
    std::string_view Bytes() {
        if (m_data.isText) OwnBytes();
        return m_data.keep != nullptr ? m_data.view : std::string_view(m_data.own);
    }
    std::string& OwnBytes() {
        if (m_data.keep != nullptr) {
            m_data.own = m_data.isText ? ToWideBytes(m_data.view) : std::string(m_data.view);
            m_data.keep = nullptr;
            m_data.isText = false;
        }
        return m_data.own;
    }
    /// At least so many bytes of a text, as far as it goes.
    std::string_view StartOfText(size_t bytes, wchar_t* out) const {
        const std::string_view text = m_data.view;
        const size_t units = bytes / sizeof(wchar_t) + 1;
        size_t length = 0, size = 0;
        while (length < units && size < text.size()) {
            // Each unit takes a byte or more; a character stays whole.
            size_t end = std::min(text.size(), size + (units - length));
            for (int more = 0; more < 3 && end < text.size() && (text[end] & 0xC0) == 0x80; ++more) ++end;
            length += WideLength(text.substr(size, end - size));
            size = end;
        }
        const wchar_t* const end = WriteWide(text.substr(0, size), out);
        return {reinterpret_cast<const char*>(out), static_cast<size_t>(end - out) * sizeof(wchar_t)};
    }

    // A reading of no more than this from the start converts no more of a text than it needs.
    static constexpr ULONG kMostOfStart = 1024;
    // The unit that holds an odd byte, and what else the last character may take: three stray bytes are a
    // unit each.
    static constexpr size_t kStartUnits = kMostOfStart / sizeof(wchar_t) + 4;

    StreamData m_data;
    const PropCore& m_owner;
    const Microsoft::WRL::ComPtr<IUnknown> m_keepsOwner;
    StreamCommit m_commit;
    size_t m_position = 0;
};

}  // namespace

IStream* NewStream(StreamData data, PropCore& owner, StreamCommit commit) {
    return new Stream(std::move(data), owner, std::move(commit));
}

}  // namespace mailbox
