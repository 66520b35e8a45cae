#include <qorbasic/qorbasic.h>

int main() { return 0; }
