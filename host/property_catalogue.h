#pragma once
// The properties that a definitions file may name, and how each is read. Keys that begin with "Appointment.",
// "Contact." and so on belong to one kind of item; the library knows some of them by their key.

#include <span>
#include <string>

namespace host {

struct TCatalogueEntry {
    const char* key;  // "Mail.Subject": what a definitions file names
    const wchar_t* keyW;
    const wchar_t* name;  // for people
    unsigned tag;         // 0: a named property
    const char* set;      // property set of a named property, the library's own for derived ones
    int id;
    const wchar_t* stringId;
    unsigned type;  // PT_*
    bool stream;    // read and compared through a stream
};

std::span<const TCatalogueEntry> Catalogue();
/// Null when there is no such key.
const TCatalogueEntry* FindProperty(const std::string& key);

}  // namespace host
