// Gives the shared precompiled test headers a unit of their own to build from.
