set(KEELHAVEN_SCHEDULER_SERVICES
    GitProbe.cpp
    LaunchdManager.cpp
    PowerAssertionController.cpp
    Preflight.cpp
    QueuePolicy.cpp
    SchedulerCalendar.cpp
    UsageGatedAdmission.cpp)
