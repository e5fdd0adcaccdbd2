<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_GB">
<context>
    <name></name>
    <message id="panel_indicator_on">
        <source>on</source>
        <translation>on</translation>
    </message>
    <message id="panel_indicator_off">
        <source>off</source>
        <translation>off</translation>
    </message>
    <message id="panel_age_seconds">
        <source>%1 s</source>
        <translation>%1 s</translation>
    </message>
    <message id="panel_age_minutes">
        <source>%1 min</source>
        <translation>%1 min</translation>
    </message>
    <message id="panel_age_hours">
        <source>%1 h</source>
        <translation>%1 h</translation>
    </message>
    <message id="panel_link_connected">
        <source>Connected</source>
        <translation>Connected</translation>
    </message>
    <message id="panel_link_disconnected">
        <source>Not connected</source>
        <translation>Not connected</translation>
    </message>
    <message id="panel_failure_dismiss">
        <source>Dismiss</source>
        <translation>Dismiss</translation>
    </message>
    <message id="panel_reason_no_link">
        <source>There is no connection to the controller.</source>
        <translation>There is no connection to the controller.</translation>
    </message>
    <message id="panel_reason_identifying">
        <source>The controller is being identified.</source>
        <translation>The controller is being identified.</translation>
    </message>
    <message id="panel_reason_unidentified">
        <source>The controller does not tell what it is.</source>
        <translation>The controller does not tell what it is.</translation>
    </message>
    <message id="panel_reason_wait_for_link">
        <source>Nothing can be sent until it is back; it is tried again and again.</source>
        <translation>Nothing can be sent until it is back; it is tried again and again.</translation>
    </message>
    <message id="panel_reason_wait_for_identity">
        <source>Nothing can be sent until its registers are known; it is asked again and again.</source>
        <translation>Nothing can be sent until its registers are known; it is asked again and again.</translation>
    </message>
    <message id="panel_unread_values">
        <source>Values that could not be read: %1</source>
        <translation>Values that could not be read: %1</translation>
    </message>
    <message id="panel_age_of_values">
        <source>The newest value is %1 old.</source>
        <translation>The newest value is %1 old.</translation>
    </message>
    <message id="panel_action_switch">
        <source>Switch a value</source>
        <translation>Switch a value</translation>
    </message>
    <message id="panel_reason_timeout">
        <source>The controller did not answer in time. Check the connection and try again.</source>
        <translation>The controller did not answer in time. Check the connection and try again.</translation>
    </message>
    <message id="panel_reason_not_connected">
        <source>There was no connection: nothing was sent. Try again once it is back.</source>
        <translation>There was no connection: nothing was sent. Try again once it is back.</translation>
    </message>
    <message id="panel_reason_refused">
        <source>The controller refused it. Check whether the value is allowed and what state the controller is in.</source>
        <translation>The controller refused it. Check whether the value is allowed and what state the controller is in.</translation>
    </message>
    <message id="panel_reason_uncertain">
        <source>It was sent, and no answer came: the controller may have done it or not. Check its state before you try again.</source>
        <translation>It was sent, and no answer came: the controller may have done it or not. Check its state before you try again.</translation>
    </message>
    <message id="panel_reason_queue_full">
        <source>Too much was waiting to be sent: nothing was sent. Try again.</source>
        <translation>Too much was waiting to be sent: nothing was sent. Try again.</translation>
    </message>
    <message id="panel_reason_stopped">
        <source>It was stopped before it was done.</source>
        <translation>It was stopped before it was done.</translation>
    </message>
    <message id="panel_reason_other">
        <source>It could not be done. Check the configuration and the log.</source>
        <translation>It could not be done. Check the configuration and the log.</translation>
    </message>
    <message id="panel_failure_uncertain">
        <source>%1: not known whether it was done</source>
        <translation>%1: not known whether it was done</translation>
    </message>
    <message id="panel_failure_failed">
        <source>%1: not done</source>
        <translation>%1: not done</translation>
    </message>
    <message id="panel_technical_details">
        <source>Technical details:</source>
        <translation>Technical details:</translation>
    </message>
    <message id="panel_action_under_way">
        <source>Under way…</source>
        <translation>Under way…</translation>
    </message>
    <message id="panel_action_not_sent">
        <source>Not sent: one at a time</source>
        <translation>Not sent: one at a time</translation>
    </message>
    <message id="panel_action_done">
        <source>%1, %2</source>
        <translation>%1, %2</translation>
    </message>
</context>
</TS>
