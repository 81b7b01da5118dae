#include "app/platform/notifications/macos/user_notifications_notifier.h"

#import <Foundation/Foundation.h>
#import <UserNotifications/UserNotifications.h>

#include <QCoreApplication>
#include <QMetaObject>

namespace talvo {

namespace {

NSString* ns(const std::string& s) {
    return [NSString stringWithUTF8String:s.c_str()];
}

void add(const std::string& id, const NoticeText& notice, UNNotificationTrigger* trigger) {
    UNMutableNotificationContent* content = [[UNMutableNotificationContent alloc] init];
    content.title = ns(notice.title);
    content.body = ns(notice.body);
    UNNotificationRequest* request = [UNNotificationRequest requestWithIdentifier:ns(id)
                                                                          content:content
                                                                          trigger:trigger];
    [[UNUserNotificationCenter currentNotificationCenter] addNotificationRequest:request
                                                           withCompletionHandler:nil];
}

}  // namespace

void UserNotificationsNotifier::requestAuthorization(std::function<void(bool)> done) {
    auto callback = std::make_shared<std::function<void(bool)>>(std::move(done));
    [[UNUserNotificationCenter currentNotificationCenter]
        requestAuthorizationWithOptions:UNAuthorizationOptionAlert
                      completionHandler:^(BOOL granted, NSError*) {
                        // The answer may come on any thread.
                        bool ok = granted;
                        QMetaObject::invokeMethod(
                            QCoreApplication::instance(), [callback, ok] { (*callback)(ok); },
                            Qt::QueuedConnection);
                      }];
}

void UserNotificationsNotifier::post(const std::string& id, const NoticeText& notice) {
    add(id, notice, nil);
}

void UserNotificationsNotifier::scheduleDaily(const std::string& id, int hour,
                                              const NoticeText& notice) {
    NSDateComponents* when = [[NSDateComponents alloc] init];
    when.hour = hour;
    add(id, notice,
        [UNCalendarNotificationTrigger triggerWithDateMatchingComponents:when repeats:YES]);
}

}  // namespace talvo
