// Shared declarations of the command line.
