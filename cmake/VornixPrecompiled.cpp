// Empty: a precompiled header is made for a source.
