#pragma once
// Definitions files: which properties of a kind are compared, and how. One readable JSON file a kind.

#include <filesystem>
#include <string>
#include <vector>

#include "host/folders.h"
#include "host/property_catalogue.h"
#include "quorvel.h"

namespace host {

struct TPropertyChoice {
    const TCatalogueEntry* property;
    ECompareMethod method = cmExact;
    bool compare = true;     // false: only read for choosing the copy to keep
    bool identifies = true;  // an equal value means something by itself; flags and sizes do not
    int group = 0;
    std::string why;
};

struct TDefinitions {
    EKind kind = EKind::Other;
    std::string about;
    ESearchAlgorithm algorithm = saIdentical;
    bool grouped = false;
    /// Items that hold different attachments are no duplicates, whatever the properties say.
    bool attachments = false;
    std::vector<std::string> keep;
    std::vector<unsigned> exceptions;
    std::vector<TPropertyChoice> properties;
};

/// Reads a file. Throws Failure naming the file, the line and what is allowed there.
TDefinitions LoadDefinitions(const std::filesystem::path& file);
/// The same of a text; name: what it comes from, for the sentence of a failure.
TDefinitions ParseDefinitions(const std::string& name, std::string text);
/// The text of a file of these definitions, without its explanations.
std::string DefinitionsText(const TDefinitions& definitions);
/// A file of the folder "definitions" beside the program.
std::filesystem::path BuiltInFile(const std::string& name);
/// The file beside the program for a kind.
std::filesystem::path BuiltInDefinitions(EKind kind);

/// The numbers of the exception rules by name; throws Failure with the names.
unsigned ExceptionRule(const std::string& name);
ESearchAlgorithm AlgorithmOf(const std::string& name);

/// The library's form of the definitions; points into the catalogue and lives on its own.
class CPropertyList {
  public:
    explicit CPropertyList(const TDefinitions& definitions);
    TComparyProps* get() { return &m_list; }

  private:
    std::vector<TComparyProp> m_entries;
    TComparyProps m_list{};
};

}  // namespace host
