<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name></name>
    <message id="panel_indicator_on">
        <source>on</source>
        <translation>allumé</translation>
    </message>
    <message id="panel_indicator_off">
        <source>off</source>
        <translation>éteint</translation>
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
        <translation>Connecté</translation>
    </message>
    <message id="panel_link_disconnected">
        <source>Not connected</source>
        <translation>Non connecté</translation>
    </message>
    <message id="panel_failure_dismiss">
        <source>Dismiss</source>
        <translation>Masquer</translation>
    </message>
    <message id="panel_reason_no_link">
        <source>There is no connection to the controller.</source>
        <translation>Aucune connexion avec le contrôleur.</translation>
    </message>
    <message id="panel_reason_identifying">
        <source>The controller is being identified.</source>
        <translation>Identification du contrôleur en cours.</translation>
    </message>
    <message id="panel_reason_unidentified">
        <source>The controller does not tell what it is.</source>
        <translation>Le contrôleur ne s’identifie pas.</translation>
    </message>
    <message id="panel_reason_wait_for_link">
        <source>Nothing can be sent until it is back; it is tried again and again.</source>
        <translation>Aucune commande possible tant qu’elle n’est pas rétablie ; de nouvelles tentatives ont lieu en continu.</translation>
    </message>
    <message id="panel_reason_wait_for_identity">
        <source>Nothing can be sent until its registers are known; it is asked again and again.</source>
        <translation>Aucune commande possible tant que ses registres sont inconnus ; de nouvelles tentatives ont lieu en continu.</translation>
    </message>
    <message id="panel_unread_values">
        <source>Values that could not be read: %1</source>
        <translation>Valeurs qui n’ont pas pu être lues : %1</translation>
    </message>
    <message id="panel_age_of_values">
        <source>The newest value is %1 old.</source>
        <translation>La valeur la plus récente date de %1.</translation>
    </message>
    <message id="panel_action_switch">
        <source>Switch a value</source>
        <translation>Changement d’une valeur</translation>
    </message>
    <message id="panel_reason_timeout">
        <source>The controller did not answer in time. Check the connection and try again.</source>
        <translation>Le contrôleur n’a pas répondu à temps. Vérifiez la connexion, puis réessayez.</translation>
    </message>
    <message id="panel_reason_not_connected">
        <source>There was no connection: nothing was sent. Try again once it is back.</source>
        <translation>Pas de connexion : rien n’a été envoyé. Réessayez une fois la connexion rétablie.</translation>
    </message>
    <message id="panel_reason_refused">
        <source>The controller refused it. Check whether the value is allowed and what state the controller is in.</source>
        <translation>Le contrôleur a refusé la commande. Vérifiez que la valeur est autorisée et dans quel état se trouve le contrôleur.</translation>
    </message>
    <message id="panel_reason_uncertain">
        <source>It was sent, and no answer came: the controller may have done it or not. Check its state before you try again.</source>
        <translation>La commande a été envoyée sans recevoir de réponse : le contrôleur l’a peut-être exécutée. Vérifiez son état avant de réessayer.</translation>
    </message>
    <message id="panel_reason_queue_full">
        <source>Too much was waiting to be sent: nothing was sent. Try again.</source>
        <translation>Trop de commandes en attente : rien n’a été envoyé. Réessayez.</translation>
    </message>
    <message id="panel_reason_stopped">
        <source>It was stopped before it was done.</source>
        <translation>La commande a été arrêtée avant d’être exécutée.</translation>
    </message>
    <message id="panel_reason_other">
        <source>It could not be done. Check the configuration and the log.</source>
        <translation>La commande n’a pas pu être exécutée. Vérifiez la configuration et le journal.</translation>
    </message>
    <message id="panel_failure_uncertain">
        <source>%1: not known whether it was done</source>
        <translation>%1 : exécution incertaine</translation>
    </message>
    <message id="panel_failure_failed">
        <source>%1: not done</source>
        <translation>%1 : non exécuté</translation>
    </message>
    <message id="panel_technical_details">
        <source>Technical details:</source>
        <translation>Détails techniques :</translation>
    </message>
    <message id="panel_action_under_way">
        <source>Under way…</source>
        <translation>En cours…</translation>
    </message>
    <message id="panel_action_not_sent">
        <source>Not sent: one at a time</source>
        <translation>Non envoyé : une action à la fois</translation>
    </message>
    <message id="panel_action_done">
        <source>%1, %2</source>
        <translation>%1, %2</translation>
    </message>
</context>
</TS>
