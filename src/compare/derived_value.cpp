#include "compare/derived_value.h"

#include <cstring>

namespace compare {

HRESULT AllocateValue(size_t bytes, store::MapiBuffer<SPropValue>* value) {
    const HRESULT hr = store::Allocate(bytes, *value);
    if (hr == S_OK) std::memset(value->get(), 0, bytes);
    return hr;
}

}  // namespace compare
