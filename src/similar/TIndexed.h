#pragma once
// What the index of candidates notes at a cached contact.

namespace similar {

struct TIndexed {
    unsigned number = 0;       // in the order of indexing
    bool always = false;       // no key stands for one of its values, or comparing it leaves an error line
    bool placeholder = false;  // comparing it may leave a line of the log's third level
    bool hasFirstName = false;
    bool hasLastName = false;
};

}  // namespace similar
