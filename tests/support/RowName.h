/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <ostream>

namespace com::vyr::plim::test {

// Table rows print as their `name`, in the runner's test names and in failures. A file brings
// it to its rows with `using test::operator<<;` in their namespace, where the printer looks.
template <typename Row>
auto operator<<(std::ostream& os, const Row& row) -> decltype(os << row.name) {
    return os << row.name;
}

}  // namespace com::vyr::plim::test
