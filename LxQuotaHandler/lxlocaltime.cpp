#include "lxlocaltime_p.h"

namespace {

LxLocalTime::Source clockSource = &QTime::currentTime;

} // namespace

QTime LxLocalTime::now()
{
    return clockSource();
}

void LxLocalTime::setSource(Source source)
{
    clockSource = source ? source : &QTime::currentTime;
}
