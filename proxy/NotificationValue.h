#ifndef NOTIFICATIONVALUE_H
#define NOTIFICATIONVALUE_H

/// Carried by every EventArgs that the library makes. What it means is the application's affair.
constexpr int NotificationValue = 15;

#endif
