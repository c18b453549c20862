// What a program of ours starts with, whatever its starter left it.
#pragma once

/// A write to a pipe that nobody reads, and to a file that may grow no more, fails instead of
/// ending the program; ended children are kept until their end has been seen; the three standard
/// descriptors are open, and nothing else is taken for one of them. At the start of main().
void takeSaneSurroundings();
