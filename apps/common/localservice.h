#pragma once

#include <QCoreApplication>
#include <QString>

#include <memory>

class RequestService;

/// A service within the process that answers requests from a store.
class LocalService
{
    Q_DECLARE_TR_FUNCTIONS(LocalService)

public:
    LocalService();
    ~LocalService();

    /// Answers from `store`, which must be current, or, if that is empty, from prepareStore(folder), and joins the bus
    /// of the process. False, with the reason in `error`, on failure.
    bool start(const QString &folder, QString store, QString *error);

    /// The path of a store in the user's cache with the recorded data of `folder`; built if it is missing or outdated.
    /// Empty, with the reason in `error`, on failure.
    static QString prepareStore(const QString &folder, QString *error);

private:
    const std::unique_ptr<RequestService> m_service;
};
