// Carries the shared precompiled header.
