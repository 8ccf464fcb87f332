#pragma once
// The benchmark shape "book": every contact of an address book against every later one, as somebody does who looks
// for persons that are there twice.

/// Times in microseconds of a call, but for the seconds that the process works for all pairs.
struct TBookFigures {
    double add;           // to the cache, an opened contact; the median
    double bytes;         // a cached contact
    double pairsSeconds;  // all pairs
    double candidates;    // share of the pairs that are compared
    double nonCandidate;  // a check of what is no candidate
    double compared;      // a check where all are compared
    unsigned long long pairs;
    unsigned long long verdicts[3];
};

/// An address book of so many people made of names, firms and domains as frequent as they are in life, one in twenty
/// twice in another writing. searchedBy: so many of them, evenly spread; the time of all pairs is brought up to all.
TBookFigures MeasureBook(unsigned people, unsigned searchedBy);
