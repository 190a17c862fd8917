#include "lxthread.h"

LxThread::LxThread(QObject *parent) : QThread(parent) { }

LxThread::~LxThread() = default;
