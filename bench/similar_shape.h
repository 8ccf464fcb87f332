#pragma once
// The benchmark shape "similar": one contact held against many that are cached.

/// Times in microseconds, medians over single calls: what a call costs when nothing else wants the processor.
struct TSimilarFigures {
    /// SimilarSearch_AddToCache of an opened contact.
    double add;
    /// SimilarSearch_CheckItemFast of a cached contact; the slowest of several search-by contacts.
    double check;
    /// The same for contacts that fill every text field and never match.
    double checkFilled;
    /// How many checks of the usual contacts gave verdict 0, 1 and 2.
    unsigned verdicts[3];
};

/// Builds a mailbox of so many contacts, logs on to it and times the search. The program exports the
/// mailbox's functions; no other session is open.
TSimilarFigures MeasureSimilar(unsigned contacts);
