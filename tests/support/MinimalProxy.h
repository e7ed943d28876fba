#ifndef MINIMALPROXY_H
#define MINIMALPROXY_H

#include "IKVTServerBaseProxy.h"
#include "PackageRequestCombination.h"
#include "PackageRequestWriteMemData.h"

/// The least that implements the interface: it does nothing and says no, so that what a test sees
/// is the base's own.
class MinimalProxy : public IKVTServerBaseProxy
{
public:
    using IKVTServerBaseProxy::IKVTServerBaseProxy;

    void Initalize() override { }
    void Terminate() override { }
    bool ConnectController() override
    {
        return false;
    }
    bool ConnectController(const QString &) override
    {
        return false;
    }
    bool SendRequestReadData(PackageRequestReadData *) override
    {
        return false;
    }
    bool SendRequestReadFile(PackageRequestReadFile *) override
    {
        return false;
    }
    bool SendRequestReadMemData(PackageRequestReadMemData *) override
    {
        return false;
    }
    bool SendRequestWriteData(PackageRequestWriteData *) override
    {
        return false;
    }
    bool SendRequestWriteFile(PackageRequestWriteFile *) override
    {
        return false;
    }
    bool SendRequestWriteMemData(PackageRequestWriteMemData) override
    {
        return false;
    }
    bool SendCombinationRequest(PackageRequestCombination) override
    {
        return false;
    }
    bool CancelServerAllSend() override
    {
        return false;
    }
    bool CancelServerSend(const QString &) override
    {
        return false;
    }
    bool SendStartRequestSpecialPacke(SpecialPackageRequest *, int *) override
    {
        return false;
    }
    bool SendEndRequestSpecialPacke(SpecialPackageRequest *, int *) override
    {
        return false;
    }
    bool Register(const QString &, QString *, const QString &) override
    {
        return false;
    }
    bool UnRegister() override
    {
        return false;
    }
    bool startServer(const QString &) override
    {
        return false;
    }
    bool exitKVTServer() override
    {
        return false;
    }
    void sendPacketData(const QByteArray &, int) override { }
    bool makeDeviceExclusive(const QString &, const int &, bool &) override
    {
        return false;
    }
    bool changebaudRate(const QString &, const unsigned long &) override
    {
        return false;
    }
    bool isServerProcessRunning() override
    {
        return false;
    }
    int getErrorCode() override
    {
        return 0;
    }
};

#endif
