#include "mailbox/CStream.h"

#include <wrl/client.h>

#include <algorithm>
#include <cstring>

#include "mailbox/CPropObject.h"
#include "mailbox/text.h"

namespace mailbox {

namespace {

class CStream final : public CComObject<IStream, okStream> {
  public:
    CStream(TStreamData data, CPropCore& owner, StreamCommit commit)
        : m_data(std::move(data)),
          m_owner(owner),
          m_keepsOwner(owner.Unknown()),
          m_commit(std::move(commit)) {}

    HRESULT STDMETHODCALLTYPE Read(void* out, ULONG count, ULONG* read) override {
        if (read != nullptr) *read = 0;
        if (out == nullptr && count != 0) return STG_E_INVALIDPOINTER;
        return Call({"IStream::Read", m_owner.EntryId()}, [&] {
            wchar_t start[kStartUnits];
            const bool isStart = m_data.isText && m_nPosition == 0 && count <= kMostOfStart;
            std::string_view bytes;
            const HRESULT hr = isStart ? StartOfText(count, start, bytes) : IsInFile() ? S_OK : Bytes(bytes);
            if (hr != S_OK) return hr;
            const size_t size = IsInFile() ? m_data.placedSize : bytes.size();
            size_t given = m_nPosition < size ? std::min<size_t>(count, size - m_nPosition) : 0;
            if (g_striking != nullptr && g_striking->limit)
                given = std::min<size_t>(given, *g_striking->limit);
            if (IsInFile() && !m_data.place->LoadBinary(m_nPosition, static_cast<char*>(out), given))
                return m_data.place->file->Failure();
            if (!IsInFile() && given != 0) std::memcpy(out, bytes.data() + m_nPosition, given);
            m_nPosition += given;
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
            const HRESULT hr = Own();
            if (hr != S_OK) return hr;
            std::string& bytes = m_data.own;
            if (m_nPosition + count > MAXLONG) return STG_E_MEDIUMFULL;
            if (bytes.size() < m_nPosition + count) bytes.resize(m_nPosition + count);
            std::memcpy(bytes.data() + m_nPosition, from, count);
            m_nPosition += count;
            if (written != nullptr) *written = count;
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) override {
        return Call({"IStream::Seek", m_owner.EntryId()}, [&] {
            long long base = 0;
            size_t size = 0;
            const HRESULT hr = origin == STREAM_SEEK_END ? Size(size) : S_OK;
            if (hr != S_OK) return hr;
            if (origin == STREAM_SEEK_CUR)
                base = static_cast<long long>(m_nPosition);
            else if (origin == STREAM_SEEK_END)
                base = static_cast<long long>(size);
            else if (origin != STREAM_SEEK_SET)
                return STG_E_INVALIDFUNCTION;
            if (move.QuadPart < -base || move.QuadPart > MAXLONGLONG - base) return STG_E_INVALIDFUNCTION;
            m_nPosition = static_cast<size_t>(base + move.QuadPart);
            if (position != nullptr) position->QuadPart = m_nPosition;
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) override {
        return Call({"IStream::SetSize", m_owner.EntryId()}, [&] {
            if (m_commit == nullptr) return STG_E_ACCESSDENIED;
            if (size.QuadPart > MAXLONG) return STG_E_MEDIUMFULL;
            const HRESULT hr = Own();
            if (hr == S_OK) m_data.own.resize(static_cast<size_t>(size.QuadPart));
            return hr;
        });
    }

    HRESULT STDMETHODCALLTYPE CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER* read,
                                     ULARGE_INTEGER* written) override {
        if (target == nullptr) return STG_E_INVALIDPOINTER;
        return Call({"IStream::CopyTo", m_owner.EntryId()}, [&] {
            std::string_view bytes;
            const HRESULT got = Bytes(bytes);
            if (got != S_OK) return got;
            const size_t left = m_nPosition < bytes.size() ? bytes.size() - m_nPosition : 0;
            const ULONG size = static_cast<ULONG>(std::min<unsigned long long>(count.QuadPart, left));
            ULONG taken = 0;
            const HRESULT hr = target->Write(bytes.data() + m_nPosition, size, &taken);
            m_nPosition += size;
            if (read != nullptr) read->QuadPart = size;
            if (written != nullptr) written->QuadPart = taken;
            return hr;
        });
    }

    HRESULT STDMETHODCALLTYPE Commit(DWORD) override {
        return Call({"IStream::Commit", m_owner.EntryId()}, [&] {
            const HRESULT hr = m_commit != nullptr ? Own() : S_OK;
            return hr != S_OK || m_commit == nullptr ? hr : m_commit(m_data.own);
        });
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
            size_t size = 0;
            const HRESULT hr = Size(size);
            if (hr != S_OK) return hr;
            stat->type = STGTY_STREAM;
            stat->cbSize.QuadPart = size;
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
    /// Binary data that is read from the mailbox file piece by piece.
    bool IsInFile() const { return m_data.place != nullptr && !m_data.isText; }
    HRESULT Size(size_t& size) {
        std::string_view bytes;
        const HRESULT hr = IsInFile() ? S_OK : Bytes(bytes);
        size = IsInFile() ? m_data.placedSize : bytes.size();
        return hr;
    }
    HRESULT Bytes(std::string_view& bytes) {
        const HRESULT hr = m_data.isText || m_data.place != nullptr ? Own() : S_OK;
        if (hr == S_OK) bytes = m_data.keep != nullptr ? m_data.view : std::string_view(m_data.own);
        return hr;
    }
    /// Makes all of the bytes the stream's own.
    HRESULT Own() {
        if (m_data.place != nullptr) {
            std::string loaded(m_data.placedSize, '\0');
            if (!m_data.place->Load(loaded.data(), loaded.size())) return m_data.place->file->Failure();
            m_data.own = m_data.isText ? ToWideBytes(loaded) : std::move(loaded);
        } else if (m_data.keep != nullptr) {
            m_data.own = m_data.isText ? ToWideBytes(m_data.view) : std::string(m_data.view);
        }
        m_data.keep = nullptr;
        m_data.place = nullptr;
        m_data.isText = false;
        return S_OK;
    }
    /// At least so many bytes of a text, as far as it goes.
    HRESULT StartOfText(size_t bytes, wchar_t* out, std::string_view& start) const {
        char head[kStartUnits * 3];
        std::string_view text = m_data.view;
        if (m_data.place != nullptr) {
            // A unit comes from three bytes at the most.
            text = {head, std::min(sizeof head, m_data.placedSize)};
            if (!m_data.place->Load(head, text.size())) return m_data.place->file->Failure();
        }
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
        start = {reinterpret_cast<const char*>(out), static_cast<size_t>(end - out) * sizeof(wchar_t)};
        return S_OK;
    }

    // A reading of no more than this from the start converts no more of a text than it needs.
    static constexpr ULONG kMostOfStart = 1024;
    // The unit that holds an odd byte, and what else the last character may take: three stray bytes are a
    // unit each.
    static constexpr size_t kStartUnits = kMostOfStart / sizeof(wchar_t) + 4;

    TStreamData m_data;
    const CPropCore& m_owner;
    const Microsoft::WRL::ComPtr<IUnknown> m_keepsOwner;
    StreamCommit m_commit;
    size_t m_nPosition = 0;
};

}  // namespace

IStream* NewStream(TStreamData data, CPropCore& owner, StreamCommit commit) {
    return new CStream(std::move(data), owner, std::move(commit));
}

}  // namespace mailbox
