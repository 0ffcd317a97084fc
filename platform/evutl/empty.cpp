// Placeholder until the library has sources.
