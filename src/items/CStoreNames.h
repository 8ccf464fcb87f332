#pragma once
// The tags of the library's own names in one store. A name keeps its tag for the life of a store, so it is looked
// up once; one that the store does not hold yet is asked for again. A look-up that fails is tried a second time.

#include "compare/named_values.h"

namespace items {

class CStoreNames final : public compare::CNames {
  public:
    HRESULT LookUp(IMAPIProp* item, std::span<const base::EName> names, ULONG* tags) override;
    ULONG Find(base::EName name) const override { return m_tags[name]; }

  private:
    ULONG m_tags[base::nameCount] = {};  // with the names' types
};

}  // namespace items
