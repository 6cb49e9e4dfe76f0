#pragma once

#include "connection/SystemProxySource.h"

// The settings of the environment: http_proxy, https_proxy, all_proxy and no_proxy, the last three
// in capitals as well. Only plain HTTP proxies count.
class EnvironmentProxySource : public SystemProxySource {
  public:
    std::optional<ProxyConf> getProxy(const QUrl &url) const override;
};
