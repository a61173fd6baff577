#pragma once

namespace variables {

// Fills the table of reading operations with all types of values. Once, at start, before other threads run.
void addValueTypes();

} // namespace variables
