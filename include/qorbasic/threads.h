// Placeholder: this family is being written.
#ifndef QORBASIC_THREADS_H
#define QORBASIC_THREADS_H
#endif  // QORBASIC_THREADS_H
