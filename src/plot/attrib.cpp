// Filled in by its module's work.
