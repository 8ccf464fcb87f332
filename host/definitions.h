#pragma once
// Definitions files: which properties of a kind are compared, and how. One readable JSON file a kind.

#include <filesystem>
#include <string>
#include <vector>

#include "host/folders.h"
#include "host/property_catalogue.h"
#include "quorvel.h"

namespace host {

enum class Algorithm : unsigned { Similar = 0, Identical = 1 };

struct PropertyChoice {
    const CatalogueEntry* property;
    ECompareMethod method = cmExact;
    bool compare = true;     // false: only read for choosing the copy to keep
    bool identifies = true;  // an equal value means something by itself; flags and sizes do not
    int group = 0;
    std::string why;
};

struct Definitions {
    Kind kind = Kind::Other;
    std::string about;
    Algorithm algorithm = Algorithm::Identical;
    bool grouped = false;
    /// Items that hold different attachments are no duplicates, whatever the properties say.
    bool attachments = false;
    std::vector<std::string> keep;
    std::vector<unsigned> exceptions;
    std::vector<PropertyChoice> properties;
};

/// Reads a file. Throws Failure naming the file, the line and what is allowed there.
Definitions LoadDefinitions(const std::filesystem::path& file);
/// The same of a text; name: what it comes from, for the sentence of a failure.
Definitions ParseDefinitions(const std::string& name, std::string text);
/// The text of a file of these definitions, without its explanations.
std::string DefinitionsText(const Definitions& definitions);
/// A file of the folder "definitions" beside the program.
std::filesystem::path BuiltInFile(const std::string& name);
/// The file beside the program for a kind.
std::filesystem::path BuiltInDefinitions(Kind kind);

/// The numbers of the exception rules by name; throws Failure with the names.
unsigned ExceptionRule(const std::string& name);
Algorithm AlgorithmOf(const std::string& name);

/// The library's form of the definitions; points into the catalogue and lives on its own.
class PropertyList {
  public:
    explicit PropertyList(const Definitions& definitions);
    TComparyProps* get() { return &m_list; }

  private:
    std::vector<TComparyProp> m_entries;
    TComparyProps m_list{};
};

}  // namespace host
