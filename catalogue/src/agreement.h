// Whether classes agree with one another: numbers, names, derivation, and what
// one says of another.

#ifndef OSTREL_CATALOGUE_AGREEMENT_H
#define OSTREL_CATALOGUE_AGREEMENT_H

#include <ostrel/class_file.h>

#include <vector>

namespace ostrel {

// The first of two that collide is the one that was there first.
ClassMistakes disagreements(const std::vector<const ClassFile*>& files,
                            ClassSource source);

}  // namespace ostrel

#endif  // OSTREL_CATALOGUE_AGREEMENT_H
