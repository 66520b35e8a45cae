// Placeholder: this family is being written.
#ifndef QORBASIC_FILES_H
#define QORBASIC_FILES_H
#endif  // QORBASIC_FILES_H
