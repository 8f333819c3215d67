#include "settings/module.h"

int nTessaronBF = 0;

int fnTessaronBF() { return 42; }

CTessaronBF::CTessaronBF() = default;
