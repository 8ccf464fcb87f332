// quorvel: finds duplicates in mail stores, shows why, and clears them away. A host over nothing but the
// exports of Quorvel.dll and the platform's published interfaces.

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>

#include <CLI/CLI.hpp>

#include "host/clean.h"
#include "host/folders.h"
#include "host/items.h"
#include "host/matrix_origins.h"
#include "host/output_file.h"
#include "host/pack_command.h"
#include "host/platform.h"
#include "host/progress.h"
#include "host/report_csv.h"
#include "host/report_html.h"
#include "host/report_json.h"
#include "host/report_text.h"
#include "host/scan.h"
#include "host/similar_command.h"
#include "host/similar_html.h"
#include "host/similar_report.h"
#include "host/text.h"
#include "host/undo.h"
#include "quorvel.h"

namespace host {
namespace {

constexpr char kAsk[] = "ask";

enum EExitStatus : int { esNoneFound = 0, esFound = 1, esError = 2, esPartlyMoved = 3 };

struct TOptions {
    std::string mailbox;
    bool profileUi = false;
    bool quiet = false;
    bool verbose = false;
    std::string log;

    TScanOptions scan;
    std::vector<std::string> kinds;
    std::string algorithm;
    std::string format = "text";
    std::string output;
    bool force = false;
    bool showDefinitions = false;
    bool findSimilar = false;
    std::vector<std::string> explain;

    std::vector<std::string> items;
    TSimilarOptions similar;

    std::string from;
    std::string plan;
    std::string merge;  // "all" or "ask"; empty: nothing is merged
    TCleanOptions clean;
    std::string undo;

    std::string cabinet;
    std::vector<std::string> files;
};

void AddPolicyOptions(CLI::App& command, TPolicyOptions& policy) {
    const auto list = [&](const char* name, std::vector<std::string>& values, const char* about,
                          const char* type) {
        command.add_option(name, values, about)->type_name(type)->expected(1)->take_all();
    };
    list("--keep", policy.keep,
         "The copy to keep: most-filled, first, last, newest, oldest, read, "
         "flagged, largest-values, largest, "
         "field=NAME:TEXT, recurrence or crm-id; repeated, the next decides ties",
         "RULE");
    list("--prefer", policy.prefer,
         "Keep the copy in this folder or below it; repeated, the first is "
         "preferred most",
         "PATH");
    list("--protect", policy.protect, "Move nothing out of this folder or what is below; may be repeated",
         "PATH");
    list("--skip", policy.skip, "Do not look into this folder nor below; may be repeated", "PATH");
    command.add_flag("--allow-loss", policy.allowLoss,
                     "Also move duplicates that hold what the kept copy lacks");
    command.add_flag("--sent-copies", policy.sentCopies,
                     "Take the sent and the received copy of a mail for duplicates too");
}

void AddScanOptions(CLI::App& command, TOptions& options) {
    command
        .add_option("--folder", options.scan.folders,
                    "Scan only this folder: a path or its tail; may be repeated")
        ->type_name("PATH");
    command.add_option("--kind", options.kinds, "Only mail, contact, appointment, task or journal items")
        ->type_name("KIND");
    command
        .add_option("--algorithm", options.algorithm,
                    "identical: an empty value equals only an empty one; "
                    "similar: empty values do not count")
        ->type_name("NAME");
    AddPolicyOptions(command, options.scan.policy);
    command
        .add_option("--except", options.scan.except, "One more exception rule, by its name; may be repeated")
        ->type_name("RULE");
    command
        .add_option("--definitions", options.scan.definitionsFile,
                    "What is compared, instead of the built-in file")
        ->type_name("FILE");
}

void AddOutputOptions(CLI::App& command, TOptions& options, const std::vector<std::string>& formats) {
    command.add_option("--format", options.format, "Form of the report")->check(CLI::IsMember(formats));
    command.add_option("--output", options.output, "Write the report to this file")->type_name("FILE");
    command.add_flag("--force", options.force, "Overwrite a file that is no such report, too");
}

// Nothing that is written may be something that is read.
void CheckOutputs(const TOptions& options, EOutput kind) {
    const std::vector<std::string> inputs{options.mailbox, options.from, options.undo,
                                          options.scan.definitionsFile, options.similar.notSame};
    if (!options.output.empty()) CheckOutput(options.output, kind, inputs, options.force);
    if (!options.plan.empty()) CheckOutput(options.plan, EOutput::Plan, inputs, false);
    if (options.log.empty()) return;
    std::vector<std::string> others = options.files;
    others.insert(others.end(), inputs.begin(), inputs.end());
    others.push_back(options.output);
    others.push_back(options.cabinet);
    CheckOutput(options.log, EOutput::Log, others, false);
}

void ApplyLog(const TOptions& options) {
    std::string log = options.log;
    if (log.empty() && options.verbose) log = "quorvel.log";
    Quorvel_ConfigLogEx(nullptr, log.empty() ? nullptr : log.c_str(), 0, options.verbose ? 3 : 1,
                        options.verbose);
}

void FinishScanOptions(TOptions& options) {
    for (const std::string& kind : options.kinds) options.scan.kinds.push_back(KindOf(kind));
    if (!options.algorithm.empty()) options.scan.algorithm = AlgorithmOf(options.algorithm);
}

void Deliver(const TOptions& options, const std::string& report) {
    if (!options.output.empty()) {
        WriteFileWhole(options.output, report);
    } else if (fwrite(report.data(), 1, report.size(), stdout) != report.size() || fflush(stdout) != 0) {
        throw TFailure("The report cannot be written to standard output.");
    }
}

int ShowDefinitions(const TOptions& options) {
    for (const EKind kind : options.scan.kinds.empty()
                                ? std::vector<EKind>(std::begin(kScannedKinds), std::end(kScannedKinds))
                                : options.scan.kinds) {
        const std::filesystem::path file = BuiltInDefinitions(kind);
        std::ifstream stream(file, std::ios::binary);
        if (!stream) throw TFailure("The definitions file \"" + Narrow(file.wstring()) + "\" is missing.");
        const std::string text{std::istreambuf_iterator<char>(stream), {}};
        fwrite(text.data(), 1, text.size(), stdout);
    }
    return esNoneFound;
}

TDefinitions DefinitionsFor(const TOptions& options, EKind kind) {
    TDefinitions definitions = LoadDefinitions(
        options.scan.definitionsFile.empty() ? BuiltInDefinitions(kind)
                                             : std::filesystem::path(Widen(options.scan.definitionsFile)));
    if (options.scan.algorithm) definitions.algorithm = *options.scan.algorithm;
    return definitions;
}

int CompareItems(const TOptions& options, const std::vector<std::string>& names) {
    if (names.size() < 2) throw TFailure("Two items at least are needed to compare.");
    const CSession session(options.mailbox, options.profileUi);
    const TCatalog catalog = ReadCatalog(session.get());
    const std::vector<TItem> items = FindItems(session.get(), catalog, names);
    const EKind kind = catalog.folders[items[0].folder].kind;
    for (const TItem& item : items) {
        if (catalog.folders[item.folder].kind != kind)
            throw TFailure("Items of different kinds cannot be compared.");
    }
    const TDefinitions definitions = DefinitionsFor(options, kind);
    TMatrixView view = BuildMatrix(session.get(), catalog, items, definitions, 400, EMatrixItems::Any);
    const TBookkeeping bookkeeping = LoadBookkeeping();
    CItemReader reader(session.get(), catalog, bookkeeping);
    AddOrigins(view, reader, items, definitions, false);
    Deliver(options,
            options.format == "json" ? MatrixJson(view, catalog, items) : MatrixTable(view, catalog, items));
    return esNoneFound;
}

// The contacts of a scan that resemble one another; nothing when it looked at no contacts.
std::optional<TSimilarResult> SimilarOf(IMAPISession* session, const TScanResult& result,
                                        CProgress& progress) {
    TSimilarOptions similar;
    for (const TKindScan& scan : result.scans) {
        if (scan.kind != EKind::Contact) continue;
        for (const size_t folder : scan.folders)
            similar.folders.push_back(result.catalog.folders[folder].path);
    }
    if (similar.folders.empty()) return std::nullopt;
    return FindSimilar(session, similar, progress);
}

int RunScan(TOptions& options) {
    if (options.findSimilar && options.format != "html")
        throw TFailure("--similar is for --format html; `quorvel similar` has the other forms.");
    if (options.showDefinitions) return ShowDefinitions(options);
    if (!options.explain.empty()) return CompareItems(options, options.explain);
    CProgress progress(options.quiet);
    progress("reading the mailbox");
    const CSession session(options.mailbox, options.profileUi);
    const TScanResult result = Scan(session.get(), options.scan, progress);
    std::optional<TSimilarResult> similar;
    if (options.findSimilar) similar = SimilarOf(session.get(), result, progress);
    const std::string report =
        options.format == "json"  ? JsonReport(result)
        : options.format == "csv" ? CsvReport(result)
        : options.format == "html"
            ? HtmlReport(session.get(), result, similar ? &*similar : nullptr, progress)
            : TextReport(result);
    progress.Clear();
    Deliver(options, report);
    return result.groups.empty() ? esNoneFound : esFound;
}

int RunSimilar(const TOptions& options) {
    CProgress progress(options.quiet);
    progress("reading the mailbox");
    const CSession session(options.mailbox, options.profileUi);
    TSimilarOptions similar = options.similar;
    similar.folders = options.scan.folders;
    if (similar.pairs && options.format == "html") throw TFailure("--pairs has no HTML form.");
    const TSimilarResult result = FindSimilar(session.get(), similar, progress);
    const std::string report = options.format == "json"
                                   ? SimilarJson(session.get(), result, similar.pairs, progress)
                               : options.format == "html" ? SimilarHtml(session.get(), result, progress)
                                                          : SimilarText(result, similar.pairs);
    progress.Clear();
    Deliver(options, report);
    if (result.isInterrupted) {
        fflush(stdout);
        fputs("quorvel: interrupted; what was found until then is shown\n", stderr);
        return kInterrupted;
    }
    return result.HasFound() ? esFound : esNoneFound;
}

// What a command that moves items says and ends with once everything is saved.
int SayMoved(const TMoved& result, const std::string& done, const char* completed) {
    std::string line = Count(result.moved, "item", "items") + " " + done;
    if (result.completed != 0) line += ", " + Count(result.completed, "item", "items") + " " + completed;
    if (result.refused != 0) line += ", " + std::to_string(result.refused) + " not";
    printf("%s\n", line.c_str());
    if (result.isInterrupted) {
        fflush(stdout);
        fputs("quorvel: interrupted; what was done is saved\n", stderr);
        return kInterrupted;
    }
    return esNoneFound;
}

int RunUndo(CSession& session, const TOptions& options, CProgress& progress) {
    const TMoved result = Undo(session, options.undo, progress);
    const int status = SayMoved(result, "put back", "restored");
    return status == esNoneFound && result.refused != 0 ? esError : status;
}

int RunClean(const TOptions& options) {
    CProgress progress(options.quiet);
    progress("reading the mailbox");
    CSession session(options.mailbox, options.profileUi);
    if (!options.undo.empty()) return RunUndo(session, options, progress);
    TPlan plan = options.from.empty() ? PlanOf(Scan(session.get(), options.scan, progress))
                                      : PlanFromFile(options.from);
    if (options.scan.policy.allowLoss) AllowLoss(plan);
    plan.isMerging = !options.merge.empty();
    if (HasChoices(plan) && options.merge != kAsk)
        throw TFailure(
            "The file holds choices between values: --merge=ask follows them, and mail files (./run) take "
            "none; "
            "nothing was moved.");
    TCleanOptions clean = options.clean;
    clean.mailbox = options.mailbox;
    const TMoved result = Clean(session, plan, clean, progress);
    if (!clean.yes) {
        if (!options.plan.empty()) WriteFileWhole(options.plan, PlanText(plan, result.stays));
        const std::string completed =
            result.completed == 0 ? "" : ", " + Count(result.completed, "item", "items") + " completed";
        printf("%s would be moved to \"%s\"%s; nothing was done. Add --yes to do it.\n",
               Count(result.moved, "item", "items").c_str(), clean.folder.c_str(), completed.c_str());
        return esNoneFound;
    }
    const int status = SayMoved(result, "moved to \"" + clean.folder + "\"", "completed");
    if (status != esNoneFound || result.refused == 0) return status;
    return result.moved == 0 ? esError : esPartlyMoved;
}

// What a report or an undo file has settled is not asked again, and no option is passed over in silence.
void CheckCleanOptions(const CLI::App& clean) {
    static constexpr const char* kOfTheScan[] = {"--folder",      "--kind",       "--algorithm", "--except",
                                                 "--keep",        "--prefer",     "--protect",   "--skip",
                                                 "--definitions", "--sent-copies"};
    static constexpr const char* kOfTheMoves[] = {"--from",       "--to",    "--undo-file",
                                                  "--allow-loss", "--merge", "--plan"};
    const auto given = [&](const char* name) { return clean.get_option(name)->count() != 0; };
    if (given("--merge") && clean.get_option("--merge")->as<std::string>() == kAsk && !given("--from"))
        throw TFailure("--merge=ask follows the choices of a report: name it with --from.");
    for (const char* name : kOfTheScan) {
        if (given("--from") && given(name)) {
            throw TFailure(std::string("--from does what the report says: ") + name +
                           " belongs to the scan that writes it.");
        }
        if (given("--undo") && given(name))
            throw TFailure(std::string("--undo puts back all that a run moved: ") + name +
                           " does not go with it.");
    }
    if (given("--plan") && given("--yes"))
        throw TFailure("--plan says what would be moved: it does not go with --yes.");
    for (const char* name : kOfTheMoves) {
        if (given("--undo") && given(name))
            throw TFailure(std::string("--undo puts back all that a run moved: ") + name +
                           " does not go with it.");
    }
}

int RunFolders(const TOptions& options) {
    const CSession session(options.mailbox, options.profileUi);
    PrintFolders(ReadCatalog(session.get()));
    return esNoneFound;
}

int Run(const std::vector<std::string>& arguments) {
    TOptions options;
    CLI::App app(
        "Finds duplicate and similar items in mail stores, shows why, "
        "and clears them away.",
        "quorvel");
    app.require_subcommand(1);
    app.fallthrough();
    // "/archive/x.cab" is a path.
    app.allow_windows_style_options(false);
    app.set_version_flag("--version", "quorvel " QUORVEL_VERSION, "Print the version and stop");
    app.add_option("--mailbox", options.mailbox, "A mailbox file, instead of the mail client's profile")
        ->type_name("FILE");
    app.add_flag("--profile-ui", options.profileUi, "Let the mail client ask for the profile");
    app.add_flag("--quiet", options.quiet, "No progress line");
    app.add_flag("--verbose", options.verbose,
                 "Full detail in the log (quorvel.log unless --log names another)");
    app.add_option("--log", options.log, "Write the library's log to this file")->type_name("FILE");

    CLI::App& scan = *app.add_subcommand("scan", "Find duplicates");
    AddScanOptions(scan, options);
    AddOutputOptions(scan, options, {"text", "json", "html", "csv"});
    scan.add_flag("--near", options.scan.findNear, "Also list the pairs that one property alone keeps apart");
    scan.add_flag("--similar", options.findSimilar,
                  "With --format html: also the contacts that resemble one another");
    scan.add_option("--explain", options.explain,
                    "Compare two items: \"Folder#number\" or an entry identifier")
        ->expected(2)
        ->type_name("ITEM ITEM");
    scan.add_flag("--show-definitions", options.showDefinitions, "Print the built-in definitions and stop");

    CLI::App& compare =
        *app.add_subcommand("compare", "Show a few items side by side and what keeps them apart");
    compare.add_option("ITEM", options.items, "\"Folder#number\" as scan prints it, or an entry identifier")
        ->required();
    compare
        .add_option("--definitions", options.scan.definitionsFile,
                    "What is compared, instead of the built-in file")
        ->type_name("FILE");
    compare.add_option("--algorithm", options.algorithm, "identical or similar")->type_name("NAME");
    AddOutputOptions(compare, options, {"text", "json"});

    CLI::App& similar = *app.add_subcommand("similar", "Find contacts that resemble one another");
    similar.add_option("--contact", options.similar.contact,
                       "Only this contact against all others: its name, "
                       "\"Folder#number\" or entry identifier");
    similar.add_option("--folder", options.scan.folders, "Only contacts of this folder; may be repeated")
        ->type_name("PATH");
    similar.add_flag("--pairs", options.similar.pairs, "One line a pair, instead of clusters");
    similar
        .add_option("--not-same", options.similar.notSame,
                    "Contacts that are not one person, lines of \"A <> B\"; they are not shown as such again")
        ->type_name("FILE");
    AddOutputOptions(similar, options, {"text", "json", "html"});

    CLI::App& clean = *app.add_subcommand("clean", "Move duplicates to a folder, or put them back");
    AddScanOptions(clean, options);
    clean
        .add_option("--from", options.from,
                    "What a scan found: its JSON report, or the decisions that its HTML report saved")
        ->type_name("FILE");
    clean.add_option("--plan", options.plan, "Without --yes: write what would be moved to this file")
        ->type_name("FILE");
    clean
        .add_flag("--merge{all}", options.merge,
                  "Complete the kept copy from its duplicates before they move; --merge=ask: by the choices "
                  "of the report")
        ->check(CLI::IsMember({"all", kAsk}));
    clean.add_option("--to", options.clean.folder, "The folder, made if missing")
        ->type_name("NAME")
        ->capture_default_str();
    clean.add_flag("--yes", options.clean.yes, "Do it; without, only say what would be done");
    clean.add_option("--undo-file", options.clean.undoFile, "Where to note the moves; a new file")
        ->type_name("FILE");
    clean.add_option("--undo", options.undo, "Put back what a run moved, from its undo file")
        ->type_name("FILE");

    CLI::App& pack = *app.add_subcommand("pack", "Put files into one cabinet");
    pack.add_option("CABINET", options.cabinet, "The cabinet to write")->required();
    pack.add_flag("--force", options.force, "Overwrite a file that is no cabinet, too");
    pack.add_option("FILES", options.files, "The files")->required();

    app.add_subcommand("folders", "List stores and folders");

    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? esNoneFound : esError;
    }
    const std::string command = app.get_subcommands().front()->get_name();
    if (command == "clean") CheckCleanOptions(clean);
    CheckOutputs(options, command == "similar"                               ? EOutput::Similar
                          : command == "compare" || !options.explain.empty() ? EOutput::Matrix
                                                                             : EOutput::Scan);
    ApplyLog(options);
    FinishScanOptions(options);
    if (command == "scan") return RunScan(options);
    if (command == "compare") return CompareItems(options, options.items);
    if (command == "similar") return RunSimilar(options);
    if (command == "clean") return RunClean(options);
    if (command == "folders") return RunFolders(options);
    Pack(options.cabinet, options.files, options.force);
    return esNoneFound;
}

}  // namespace
}  // namespace host

int wmain(int argc, wchar_t** argv) {
    // UTF-8 and plain line feeds, whatever the console or the file behind standard output is.
    SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdout), _O_BINARY);
    // A console takes the bytes of one character only together: without a buffer they would come one by one.
    setvbuf(stdout, nullptr, _IOFBF, 1 << 16);
    setvbuf(stderr, nullptr, _IOFBF, 1 << 12);
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i) arguments.push_back(host::Narrow(argv[i]));
    try {
        return host::Run(arguments);
    } catch (const host::TInterrupted&) {
        fflush(stdout);
        fputs(host::kInterruptedText, stderr);
        return host::kInterrupted;
    } catch (const std::exception& error) {
        fflush(stdout);
        fprintf(stderr, "quorvel: %s\n", host::OneLine(error.what()).c_str());
        return host::esError;
    }
}
