#pragma once

/// Procedures of IEEE 802.1Q-2005 13.26, and this system's own beside them.

#include <cstdint>

#include "mstp/bpdu.h"
#include "mstp/records.h"

// Receive. The BPDU record is as mstpParse leaves it: fields of more than one byte big-endian,
// times in whole seconds. Flags are 0 or 1. "Outside" is a message with rcvdInternal clear.

/// Sets rcvdSTP for a Configuration or TCN BPDU, rcvdRSTP for an RST or MST BPDU (13.26). Tells
/// them by their type and not by their version; clears nothing.
void updtBPDUVersion(tMstpPort* port, tMstpBpdu* bpdu);

/// Whether the sender's MST configuration identifier is this bridge's (13.26): 1 if the port has
/// rcvdRSTP, the bridge runs MSTP and the BPDU is an MST BPDU with the same revision level, name,
/// format selector and digest, else 0. On a port with snoopingEnable 1 selector and digest may be
/// any (this system's own): the digest then goes into snoopingCfgIdDigest.
int32_t fromSameRegion(tMstpPort* port, tMstpBpdu* bpdu);

/// Deals the BPDU out to the port's records (13.26): rcvdMsg, msgFlag, msgPriority and msgTimes of
/// the CIST and, from inside the region, of every MSTI that the BPDU names and that is in service
/// on bridge and port; rcvdCistMsg, rcvdMstiMsg and rcvdAnyMsg of the port. A TCN BPDU leaves the
/// vector and the times as they were and sets only the CIST's rcvdMsg. Outside information gets
/// this bridge's own identifier as regional root, internal cost 0 and the bridge's bridgeMaxHops.
/// @pre  rcvdInternal says where this BPDU comes from
void setRcvdMsgs(tMstpPort* port, tMstpBpdu* bpdu);

/// Classifies the message received (13.26) by comparing msgPriority and msgTimes with portPriority
/// and portTimes. A Configuration BPDU counts as designated unless it is inferior. A TCN BPDU sets
/// rcvdTc in every instance of the port, rcvdTcn in the CIST, and the port's arpFlush.
/// @return MSTP_SUPERIOR_DESIGNATED_INFO ... MSTP_OTHER_INFO; a TCN BPDU is MSTP_OTHER_INFO
uint8_t rcvInfo(tMstpXstPort* xstPort);

/// portPriority becomes msgPriority, receiving port included (13.26).
void recordPriority(tMstpXstPort* xstPort);

/// portTimes takes over msgTimes (13.26): message age and remaining hops; for the CIST also max
/// age, forward delay and hello time, at least 1 s.
void recordTimes(tMstpXstPort* xstPort);

/// Sets proposed if a designated port proposes (13.26). The CIST's proposed, set or not, becomes
/// that of the port's MSTIs when the message is from outside.
void recordProposal(tMstpXstPort* xstPort);

/// Sets agreed and clears proposing if the message agrees over a point-to-point link (13.26): for
/// the CIST where rstpVersion is set, and from outside for the port's MSTIs with it; for an MSTI if
/// the CIST's message names the root, the external cost and the regional root that this bridge
/// follows. Never clears agreed, where the standard does.
void recordAgreement(tMstpXstPort* xstPort);

/// Sets disputed and clears agreed if the sender is learning (13.26), from outside for the port's
/// MSTIs with the CIST.
void recordDispute(tMstpXstPort* xstPort);

/// For an MSTI: mastered follows the master flag of a point-to-point link (13.26). For the CIST: a
/// message from outside clears mastered of the port's MSTIs.
void recordMastered(tMstpXstPort* xstPort);

/// Loads rcvdInfoWhile, in seconds, with three of the CIST's hello times, or clears it where the
/// information is at its end (13.26): outside, when the CIST's message age has reached its max age;
/// inside, when 1 hop remains. 0 hops get the full time, deliberately.
void updtRcvdInfoWhile(tMstpXstPort* xstPort);

/// Whether the information is as good as that of the port or better (13.26): msgPriority for
/// MSTP_RECEIVED, designatedPriority for MSTP_MINE. The receiving port takes part.
/// @return 1, or 0; 0 also where infoIs is not @p newInfoIs, and for any other @p newInfoIs
uint8_t betterorsameInfo(tMstpXstPort* xstPort, uint8_t newInfoIs);

/// Recomputes rcvdAnyMsg, rcvdCistMsg and rcvdMstiMsg from rcvdMsg of the port's instances (13.25).
void updtRcvdAnyMsg(tMstpPort* port);

/// Clears rcvdMsg in every instance of the port (13.26).
void clearAllRcvdMsgs(tMstpPort* port);

// Roles. A port is up while its upTime is not 0. Flags are 0 or 1.

/// Clears reselect on every port of the instance (13.26).
void clearReselectTree(tMstpXst* xst);

/// Sets reRoot on every port of the instance (13.26).
void setReRootTree(tMstpXst* xst);

/// Sets sync on every port of the instance (13.26).
void setSyncTree(tMstpXst* xst);

/// Selects the disabled role on every port of the instance (13.26).
void updtRolesDisabledTree(tMstpXst* xst);

/// True if a port of the instance that is up has reselect set.
bool mstpWantsReselection(tMstpXst* xst);

/// Sets selected on every port of the instance, those that are down included, unless a port that is
/// up has reselect set (13.26).
void setSelectedTree(tMstpXst* xst);

/// Computes the instance's rootPriority, rootTimes, rootPortId and masterPortId, and for every port
/// designatedPriority, designatedTimes, selectedRole, master and, where a rule speaks of it,
/// updtInfo (13.26). Notifies a new root while gMstp.trap is set. For the CIST it may mark the
/// MSTIs for reselection. Linear in the instance's ports.
void updtRolesTree(tMstpXst* xst);

/// Sets reselect on every port of every MSTI of the bridge.
void updtInterReselect(tMstpBridge* bridge);

/// Has the port's MSTIs synchronise anew: agree, agreed and synced cleared, sync set (13.26).
/// Nothing happens unless infoInternal is set.
void syncMaster(tMstpPort* port);

/// Recomputes cistRootPort, cistDesignatedPort, mstiDesignatedOrTCpropagatingRootPort and
/// mstiMasterPort from the roles of the port's instances (13.25).
void updtPortRole(tMstpPort* port);

/// Recomputes updtCistInfo and updtMstiInfo from updtInfo of the port's instances (13.25). A CIST
/// to be updated sets both.
void updtPortUpdtInfo(tMstpPort* port);

/// Takes the master mark from the port, and masterPortId from its instance. Nothing happens unless
/// master is set.
void clearMaster(tMstpXstPort* xstPort);

/// Recomputes reRooted: no other port of the instance that is up has rrWhile running (13.25).
void updtRerooted(tMstpXstPort* xstPort);

/// Recomputes allSynced over the instance's ports that are up (13.25): every one is settled
/// (selected, role as selected, updtInfo clear), and synced is set on all but root ports (for a
/// root or alternate port) or on all but this one (for a designated or master port). 0 for other
/// roles.
void updtAllSynced(tMstpXstPort* xstPort);

// Forwarding, learning and topology changes. The first four write hwState and program the hardware
// group, whose result they ignore; a hold counts while its timer has a whole second or more left.

/// Discards, unconditionally (13.26).
void disableForwarding(tMstpXstPort* xstPort);

/// Discards (13.26). Does nothing under BPDU guard or a loop hold.
void disableLearning(tMstpXstPort* xstPort);

/// Forwards (13.26). Under BPDU guard it discards instead; under a loop hold or a root hold-off it
/// does nothing.
void enableForwarding(tMstpXstPort* xstPort);

/// Learns (13.26). Does nothing under BPDU guard or a loop hold.
void enableLearning(tMstpXstPort* xstPort);

/// enableForwarding in every instance of the port, in ascending order. Whoever ends BPDU guard
/// stops bpduGuardTimer first.
void enableForwardingAll(tMstpPort* port);

/// The same for those instances only in which the port is root, designated or master port.
void enableForwardingAllByRole(tMstpPort* port);

/// Starts tcWhile unless it runs (13.26): for the hello time plus 1 s, and with newInfo of the CIST
/// or of the MSTIs set, where RST BPDUs are sent; else for maxAge plus forwardDelay. Every call
/// counts a topology change of the instance and stamps it with the system's up-time in seconds.
void newTcWhile(tMstpXstPort* xstPort);

/// Takes the topology change flags of the message received (msgFlag) into rcvdTc and rcvdTcAck
/// (13.26), and sets the port's arpFlush with rcvdTc. A CIST topology change from outside the
/// region, as infoInternal tells it, reaches all instances of the port.
void setTcFlags(tMstpXstPort* xstPort);

/// Sets tcProp on every port of the instance but @p xstPort (13.26). Nothing happens if the port
/// has restrictedTcn set.
void setTcPropTree(tMstpXst* xst, tMstpXstPort* xstPort);

/// forwardDelay in seconds (13.25): the CIST's designated hello time where RST BPDUs are sent, else
/// its designated forward delay.
void updtForwardDelay(tMstpPort* port);

/// edgeDelay in seconds (13.25): migrateTime on a point-to-point link, else the CIST's designated
/// maxAge. No machine calls it.
void updtEdgeDelay(tMstpPort* port);

// Transmit. The result of the send is ignored. All need the port's CIST record in use.

/// Sends a topology change notification BPDU, 4 bytes (13.26).
void txTcn(tMstpPort* port);

/// Sends a configuration BPDU, 35 bytes (13.26).
void txConfig(tMstpPort* port);

/// Sends an MST BPDU with the messages of all MSTIs of the port, 102 bytes and 16 for each MSTI, if
/// forceVersion is MSTP_FORCE_ATUODOT1S, else an RST BPDU, 36 bytes (13.26).
void txMstp(tMstpPort* port);

/// Fills the zeroed @p bpdu with what txMstp sends. @return its length
uint32_t mstpFillMstp(tMstpBpdu* bpdu, tMstpPort* port);

/// Recomputes allTransmitReady (13.25): selected is set and updtInfo clear in every instance of the
/// port.
void updtAllTransmitReady(tMstpPort* port);
