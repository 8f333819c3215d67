#include "settings/module.h"

int nTessaronBF = 0;

int fnTessaronBF() { return 42; }

CTessaronBF::CTessaronBF() = default;
CTessaronBF::CTessaronBF(const CTessaronBF&) = default;
CTessaronBF& CTessaronBF::operator=(const CTessaronBF&) = default;
CTessaronBF::~CTessaronBF() = default;
