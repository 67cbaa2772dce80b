# Made by `python3 -m loamtunnel.stubs`.
from collections.abc import Iterable
from ipaddress import IPv4Address
from typing import Any

from .tree import Children, Entity, Map, References
from .values import Enumeration, Fapmask as Fapmask, Interface, Value


EvecIndex = int  # EvecIndex, 0 to 65535
FapId = int  # FapId, 0 to 2048
FenNextHopId = int  # FenNextHopId, 0 to 4294967295
IntfId = Interface
IntfTpid = int  # IntfTpid, 0 to 65535
IntfTpidIndex = int  # IntfTpidIndex, 0 to 255
IpAddr = IPv4Address
OutAcIndex = int  # OutAcIndex, 0 to 65535
VlanIdOrNone = int  # VlanIdOrNone, 0 to 4094

class AradIhpIvectIndex(Value):
    """A place in the table that chooses an ingress VLAN edit command, by the profile of the interface and the tags of the packet"""
    def __init__(self, index: int = ..., *, hash: int = ..., iveProfile: int = ..., vlanTagFormat: int = ...) -> None: ...
    min: int
    max: int
    null: int
    @property
    def index(self) -> int:
        """U16, 0 to 256, 256 unless given. The profile and the tag format in one number, 0 to 256; the default 256 stands for none"""
    @property
    def hash(self) -> int:
        """U16, 0 to 65535, index[15:0]. The index again, by which maps find it. Setting it sets the index"""
    @property
    def iveProfile(self) -> IveProfile:
        """IveProfile, index[2:0]. The profile of the interface, 0 to 7. On the null index any but 0 raises Kor::RangeException"""
    @property
    def vlanTagFormat(self) -> VlanTagFormat:
        """VlanTagFormat, index[6:3]. Which tags the packet has, 0 to 15. On the null index any but 0 raises Kor::RangeException"""

class AradIvecEntry(Value):
    """A slot and the ingress VLAN edit command in it"""
    def __init__(self, key: AradIvecKey | tuple[Any, ...] | dict[str, Any] = ..., entryFormat: AradIvecFormat | tuple[Any, ...] | dict[str, Any] | int = ...) -> None: ...
    @property
    def key(self) -> AradIvecKey:
        """AradIvecKey. The slot"""
    @property
    def entryFormat(self) -> AradIvecFormat:
        """AradIvecFormat. The command"""

class AradIvecFormat(Value):
    """One ingress VLAN edit command: how the tags of an arriving packet are rewritten"""
    def __init__(self, word: int = ..., *, tpidProfile: int = ..., outerTpidIndex: int = ..., outerVidSrc: int = ..., outerPcpDeiSrc: int = ..., innerTpidIndex: int = ..., innerVidSrc: int = ..., innerPcpDeiSrc: int = ..., tagsToRemove: int = ...) -> None: ...
    @property
    def word(self) -> int:
        """U32, 0 to 4294967295, 0 unless given. All fields in one word, in the row layout of every chip; the default is 0. Bits 21 to 31 belong to no field and count in =="""
    @property
    def tpidProfile(self) -> int:
        """U8, 0 to 7, word[2:0]. The TPID profile, 0 to 7"""
    @property
    def outerTpidIndex(self) -> int:
        """U8, 0 to 3, word[4:3]. The index of the outer tag's TPID, 0 to 3"""
    @property
    def outerVidSrc(self) -> int:
        """U8, 0 to 7, word[7:5]. Where the VLAN id of the outer tag comes from, a number of IveVlanIdSource; others are not refused"""
    @property
    def outerPcpDeiSrc(self) -> int:
        """U8, 0 to 7, word[10:8]. Where PCP and DEI of the outer tag come from, a number of IveVlanPcpDeiSource; others are not refused"""
    @property
    def innerTpidIndex(self) -> int:
        """U8, 0 to 3, word[12:11]. The index of the inner tag's TPID, 0 to 3"""
    @property
    def innerVidSrc(self) -> int:
        """U8, 0 to 7, word[15:13]. Where the VLAN id of the inner tag comes from, a number of IveVlanIdSource; others are not refused"""
    @property
    def innerPcpDeiSrc(self) -> int:
        """U8, 0 to 7, word[18:16]. Where PCP and DEI of the inner tag come from, a number of IveVlanPcpDeiSource; others are not refused"""
    @property
    def tagsToRemove(self) -> int:
        """U8, 0 to 3, word[20:19]. How many tags are removed, a number of TagsToRemoveOption; 3 is not refused"""

class AradIvecFormat_TagsToRemoveOption(Enumeration):
    """How many tags an ingress VLAN edit command removes"""
    nop = 0  # None
    removeOneTag = 1  # One
    removeTwoTags = 2  # Two

class AradIvecIndex(Value):
    """The place of a slot for an ingress VLAN edit command; the default 64, 7, 0 stands for none"""
    def __init__(self, word0: int = ..., word1: int = ..., word2: int = ...) -> None: ...
    @property
    def word0(self) -> int:
        """U32, 0 to 4294967295, 64 unless given. The first word. Its low byte alone enters the hash of a key"""
    @property
    def word1(self) -> int:
        """U32, 0 to 4294967295, 7 unless given. The second word"""
    @property
    def word2(self) -> int:
        """U32, 0 to 4294967295, 0 unless given. The third word"""

class AradIvecKey(Value):
    """A slot for an ingress VLAN edit command"""
    def __init__(self, fapmask: Fapmask | str | Iterable[int] = ..., index: AradIvecIndex | tuple[Any, ...] | dict[str, Any] = ...) -> None: ...
    @property
    def fapmask(self) -> Fapmask:
        """Fapmask. The chips that have the slot; the default is none"""
    @property
    def index(self) -> AradIvecIndex:
        """AradIvecIndex. The place of the slot, three words; the default 64, 7, 0 stands for none"""

class AradLifAcMp(AradLifEntry):
    """View of a lifAcMp entry: an attachment circuit of a bridge domain"""
    def __init__(self, lifType: LifType | str | int = ..., dword0: int = ..., dword1: int = ..., *, vsi: int = ..., ttLearnEnable: int = ..., vlanEditVid2: int = ..., vlanEditVid1: int = ..., vlanEditPcpDeiProfile: int = ..., vlanEditProfile: int = ..., orientationIsHub: int = ..., cosProfile: int = ..., inLifProfile: int = ..., vsiAssignmentMode: int = ..., useInLif: int = ..., type: int = ...) -> None: ...
    @property
    def vsi(self) -> int:
        """U16, 0 to 65535, dword0[15:0]. The virtual switch instance (VSI) of the bridge domain, 0 to 65535"""
    @property
    def ttLearnEnable(self) -> bool:
        """bool, dword0[32]. Row field ttLearnEnable, 0 or 1"""
    @property
    def vlanEditVid2(self) -> int:
        """U16, 0 to 4095, dword0[47:36]. The second VLAN id of the VLAN edit, 12 bits. No other kind of LIF has one"""
    @property
    def vlanEditVid1(self) -> int:
        """U16, 0 to 4095, dword0[59:48]. The first VLAN id of the VLAN edit, 12 bits"""
    @property
    def vlanEditPcpDeiProfile(self) -> int:
        """U8, 0 to 15, dword0[63:60]. The profile for PCP and DEI of the VLAN edit, 0 to 15"""
    @property
    def vlanEditProfile(self) -> int:
        """U8, 0 to 7, dword1[2:0]. The VLAN edit profile, 0 to 7"""
    @property
    def orientationIsHub(self) -> bool:
        """bool, dword1[3]. Row field orientationIsHub, 0 or 1"""
    @property
    def cosProfile(self) -> int:
        """U8, 0 to 63, dword1[9:4]. The class of service profile, 0 to 63"""
    @property
    def inLifProfile(self) -> int:
        """U8, 0 to 15, dword1[13:10]. The profile of the incoming LIF, 0 to 15"""
    @property
    def vsiAssignmentMode(self) -> int:
        """U8, 0 to 3, dword1[15:14]. Row field vsiAssignmentMode, 0 to 3"""
    @property
    def useInLif(self) -> bool:
        """bool, dword1[32]. Row field useInLif, 0 or 1. Only chips 3 and 4 have it; the others drop it"""
    @property
    def type(self) -> int:
        """U8, 0 to 3, dword1[34:33]. Row field type as it is stored. The encoder never reads it; it writes acMp, 3"""

class AradLifAcP2pToAc(AradLifEntry):
    """View of a lifAcP2pToAc entry: an attachment circuit that is cross-connected to another"""
    def __init__(self, lifType: LifType | str | int = ..., dword0: int = ..., dword1: int = ..., *, destination: int = ..., destinationValid: int = ..., outLif: int = ..., vlanEditProfile: int = ..., outLifValid: int = ..., useInLif: int = ..., type: int = ...) -> None: ...
    @property
    def destination(self) -> int:
        """U32, 0 to 524287, dword0[18:0]. Where packets go: 19 bits in the encoding of the Jericho family. Chips 3 and 4 get it converted"""
    @property
    def destinationValid(self) -> bool:
        """bool, dword0[19]. Row field destinationValid, 0 or 1. Only chips 3 and 4 have it; the others drop it"""
    @property
    def outLif(self) -> int:
        """U32, 0 to 67108863, dword0[45:20]. The outgoing LIF. Chips 5, 7, 8, 9 and 10 require it below 65536; chips 3 and 4 get its low 16 bits"""
    @property
    def vlanEditProfile(self) -> int:
        """U8, 0 to 7, dword1[2:0]. The VLAN edit profile, 0 to 7"""
    @property
    def outLifValid(self) -> bool:
        """bool, dword1[14]. Row field outLifValid, 0 or 1"""
    @property
    def useInLif(self) -> bool:
        """bool, dword1[32]. Row field useInLif, 0 or 1. Only chips 3 and 4 have it; the others drop it"""
    @property
    def type(self) -> int:
        """U8, 0 to 3, dword1[34:33]. Row field type as it is stored. The encoder never reads it; it writes acP2pToAc, 0"""

class AradLifAcP2pToPwe(AradLifEntry):
    """View of a lifAcP2pToPwe entry: an attachment circuit that is cross-connected to a pseudowire"""
    def __init__(self, lifType: LifType | str | int = ..., dword0: int = ..., dword1: int = ..., *, destination: int = ..., destinationValid: int = ..., mplsVcLabel: int = ..., mplsPushProfile: int = ..., vlanEditVid1: int = ..., vlanEditPcpDeiProfile: int = ..., vlanEditProfile: int = ..., orientationIsHub: int = ..., cosProfile: int = ..., inLifProfile: int = ..., vsiAssignmentMode: int = ..., oamLifSet: int = ..., protectionPath: int = ..., protectionPointer: int = ..., useInLif: int = ..., type: int = ...) -> None: ...
    @property
    def destination(self) -> int:
        """U32, 0 to 524287, dword0[18:0]. Where packets go, 19 bits. Every chip gets it as it is, without conversion"""
    @property
    def destinationValid(self) -> bool:
        """bool, dword0[19]. Row field destinationValid, 0 or 1. Every chip has it"""
    @property
    def mplsVcLabel(self) -> int:
        """U32, 0 to 1048575, dword0[39:20]. The MPLS label of the virtual circuit, 0 to 1048575"""
    @property
    def mplsPushProfile(self) -> int:
        """U8, 0 to 15, dword0[43:40]. The profile of the MPLS push, 0 to 15"""
    @property
    def vlanEditVid1(self) -> int:
        """U16, 0 to 4095, dword0[59:48]. The first VLAN id of the VLAN edit, 12 bits"""
    @property
    def vlanEditPcpDeiProfile(self) -> int:
        """U8, 0 to 15, dword0[63:60]. The profile for PCP and DEI of the VLAN edit, 0 to 15"""
    @property
    def vlanEditProfile(self) -> int:
        """U8, 0 to 7, dword1[2:0]. The VLAN edit profile, 0 to 7"""
    @property
    def orientationIsHub(self) -> bool:
        """bool, dword1[3]. Row field orientationIsHub, 0 or 1"""
    @property
    def cosProfile(self) -> int:
        """U8, 0 to 63, dword1[9:4]. The class of service profile, 0 to 63"""
    @property
    def inLifProfile(self) -> int:
        """U8, 0 to 15, dword1[13:10]. The profile of the incoming LIF, 0 to 15"""
    @property
    def vsiAssignmentMode(self) -> int:
        """U8, 0 to 3, dword1[15:14]. Row field vsiAssignmentMode, 0 to 3"""
    @property
    def oamLifSet(self) -> int:
        """U8, 0 to 1, dword1[16]. Row field oamLifSet, 0 or 1"""
    @property
    def protectionPath(self) -> int:
        """U8, 0 to 1, dword1[17]. Row field protectionPath, 0 or 1"""
    @property
    def protectionPointer(self) -> int:
        """U16, 0 to 16383, dword1[31:18]. Row field protectionPointer, 0 to 16383"""
    @property
    def useInLif(self) -> bool:
        """bool, dword1[32]. Row field useInLif, 0 or 1. Only chips 3 and 4 have it; the others drop it"""
    @property
    def type(self) -> int:
        """U8, 0 to 3, dword1[34:33]. Row field type as it is stored. The encoder never reads it; it writes acP2pToPwe, 1"""

class AradLifBank(Enumeration):
    """The banks that a LIF index can count from; there is no number 3"""
    lifBankTunnelTermination = 1  # The bank of tunnel termination
    lifBankManaged = 2  # The first of the managed banks
    lifBankMax = 4  # No bank: part of the null index

class AradLifEntry(Value):
    """A logical interface (LIF) as an application asks for it: its kind, and two words with the row image of the Arad family"""
    def __init__(self, lifType: LifType | str | int = ..., dword0: int = ..., dword1: int = ...) -> None: ...
    @property
    def lifType(self) -> LifType:
        """LifType, lifGeneral unless given. The kind of LIF. Only the five kinds that have a view class can be written to a chip; the default lifGeneral has none"""
    @property
    def dword0(self) -> int:
        """U64, 0 to 18446744073709551615, 0 unless given. Bits 0 to 63 of the row image"""
    @property
    def dword1(self) -> int:
        """U64, 0 to 18446744073709551615, 0 unless given. Bits 64 to 127 of the row image"""

class AradLifIndex(Value):
    """Where a LIF lies, independent of the chip: an index that counts from the start of a bank"""
    def __init__(self, index: int = ..., startingBank: AradLifBank | str | int = ...) -> None: ...
    null: int
    min: int
    @property
    def index(self) -> int:
        """U32, 0 to 131072, 131072 unless given. Counts the LIF entries from the start of startingBank, 0 to 131072; the default is 131072"""
    @property
    def startingBank(self) -> AradLifBank:
        """AradLifBank, lifBankMax unless given. The bank that the index counts from; a large index runs on into the next banks. The default is lifBankMax, no bank"""

class AradLifLabelProtocolOrLsp(AradLifEntry):
    """View of a lifLabelProtocolOrLsp entry: the label of a protocol or of a label-switched path"""
    def __init__(self, lifType: LifType | str | int = ..., dword0: int = ..., dword1: int = ..., *, orientationIsHub: int = ..., actionProfileIndex: int = ..., modelIsPipe: int = ..., terminationTypeLsb: int = ..., inLifProfile: int = ..., tpidProfile: int = ..., cosProfile: int = ..., vsi: int = ..., vsiMsb: int = ..., serviceType: int = ..., inRifMsb: int = ..., inRifValid: int = ..., expectBos: int = ..., forwardingCode: int = ..., daNotFoundProfile: int = ..., destinationLo: int = ..., destinationHi: int = ..., destinationValidOrTerminationTypeMsb: int = ..., ttLearnEnable: int = ..., vsiAssignmentMode: int = ..., oamLifSet: int = ..., protectionPath: int = ..., protectionPointer: int = ..., inLifValid: int = ..., type: int = ...) -> None: ...
    @property
    def orientationIsHub(self) -> int:
        """U8, 0 to 1, dword0[0]. Row field orientationIsHub, 0 or 1"""
    @property
    def actionProfileIndex(self) -> int:
        """U8, 0 to 7, dword0[3:1]. Row field actionProfileIndex, 0 to 7"""
    @property
    def modelIsPipe(self) -> int:
        """U8, 0 to 1, dword0[4]. Row field modelIsPipe, 0 or 1"""
    @property
    def terminationTypeLsb(self) -> int:
        """U8, 0 to 3, dword0[6:5]. Row field terminationTypeLsb, 0 to 3"""
    @property
    def inLifProfile(self) -> int:
        """U8, 0 to 15, dword0[10:7]. The profile of the incoming LIF, 0 to 15"""
    @property
    def tpidProfile(self) -> int:
        """U8, 0 to 3, dword0[12:11]. The TPID profile, 0 to 3"""
    @property
    def cosProfile(self) -> int:
        """U8, 0 to 63, dword0[18:13]. The class of service profile, 0 to 63"""
    @property
    def vsi(self) -> int:
        """U16, 0 to 32767, dword0[33:19]. The virtual switch instance (VSI), 0 to 32767. On chips 3 and 4 daNotFoundProfile overrides its low 2 bits in the row"""
    @property
    def vsiMsb(self) -> int:
        """U8, 0 to 3, dword0[33:32]. The high 2 bits of vsi: setting either changes the other. Chips 3 and 4 have no such row field"""
    @property
    def serviceType(self) -> int:
        """U8, 0 to 7, dword0[36:34]. Row field serviceType, 0 to 7"""
    @property
    def inRifMsb(self) -> int:
        """U16, 0 to 4095, dword0[48:37]. Row field inRifMsb, 0 to 4095"""
    @property
    def inRifValid(self) -> int:
        """U8, 0 to 1, dword0[49]. Row field inRifValid, 0 or 1"""
    @property
    def expectBos(self) -> int:
        """U8, 0 to 1, dword0[54]. Row field expectBos, 0 or 1. Chips 5, 7 and 10 drop it; on chips 8 and 9 the low bit of forwardingCode overrides it"""
    @property
    def forwardingCode(self) -> int:
        """U8, 0 to 15, dword0[53:50]. Row field forwardingCode, 0 to 15. On chips 8 and 9 its low bit overrides expectBos"""
    @property
    def daNotFoundProfile(self) -> int:
        """U8, 0 to 3, dword0[56:55]. Row field daNotFoundProfile, 0 to 3. On chips 3 and 4 it overrides the low 2 bits of vsi in the row"""
    @property
    def destinationLo(self) -> int:
        """U32, 0 to 127, dword0[63:57]. The low 7 bits of destination"""
    @property
    def destinationHi(self) -> int:
        """U16, 0 to 4095, dword1[11:0]. The high 12 bits of destination"""
    @property
    def destinationValidOrTerminationTypeMsb(self) -> int:
        """U8, 0 to 1, dword1[12]. Row field destinationValidOrTerminationTypeMsb, 0 or 1"""
    @property
    def ttLearnEnable(self) -> int:
        """U8, 0 to 1, dword1[13]. Row field ttLearnEnable, 0 or 1"""
    @property
    def vsiAssignmentMode(self) -> int:
        """U8, 0 to 3, dword1[15:14]. Row field vsiAssignmentMode, 0 to 3"""
    @property
    def oamLifSet(self) -> int:
        """U8, 0 to 1, dword1[16]. Row field oamLifSet, 0 or 1"""
    @property
    def protectionPath(self) -> int:
        """U8, 0 to 1, dword1[17]. Row field protectionPath, 0 or 1"""
    @property
    def protectionPointer(self) -> int:
        """U16, 0 to 16383, dword1[31:18]. Row field protectionPointer, 0 to 16383"""
    @property
    def inLifValid(self) -> int:
        """U8, 0 to 1, dword1[32]. Row field inLifValid, 0 or 1. Only chips 3 and 4 have it; the others drop it"""
    @property
    def type(self) -> int:
        """U8, 0 to 3, dword1[34:33]. Row field type as it is stored. The encoder never reads it; it writes labelPweLsp, 2"""

class AradLifPweToP2p(AradLifEntry):
    """View of a lifLabelPweP2p entry: a pseudowire label that ends in a cross-connect"""
    def __init__(self, lifType: LifType | str | int = ..., dword0: int = ..., dword1: int = ..., *, orientationIsHub: int = ..., actionProfileIndex: int = ..., modelIsPipe: int = ..., terminationProfileLsb: int = ..., inLifProfile: int = ..., tpidProfile: int = ..., cosProfile: int = ..., sysInLif: int = ..., eeiOrOutLif: int = ..., outLifValue: int = ..., outLifValidBit: int = ..., destinationLo: int = ..., destinationHi: int = ..., destinationValid: int = ..., eeiOrOutLifType: int = ..., vsiAssignmentMode: int = ..., oamLifSet: int = ..., protectionPath: int = ..., protectionPointer: int = ..., terminationProfileMsb: int = ..., type: int = ...) -> None: ...
    @property
    def orientationIsHub(self) -> bool:
        """bool, dword0[0]. Row field orientationIsHub, 0 or 1"""
    @property
    def actionProfileIndex(self) -> int:
        """U8, 0 to 7, dword0[3:1]. Row field actionProfileIndex, 0 to 7"""
    @property
    def modelIsPipe(self) -> int:
        """U8, 0 to 1, dword0[4]. Row field modelIsPipe, 0 or 1"""
    @property
    def terminationProfileLsb(self) -> int:
        """U8, 0 to 3, dword0[6:5]. The low 2 bits of terminationProfile"""
    @property
    def inLifProfile(self) -> int:
        """U8, 0 to 15, dword0[10:7]. The profile of the incoming LIF, 0 to 15"""
    @property
    def tpidProfile(self) -> int:
        """U8, 0 to 3, dword0[12:11]. The TPID profile, 0 to 3"""
    @property
    def cosProfile(self) -> int:
        """U8, 0 to 15, dword0[16:13]. The class of service profile, 0 to 15; the other views have 2 bits more"""
    @property
    def sysInLif(self) -> int:
        """U32, 0 to 65535, dword0[32:17]. Row field sysInLif, 0 to 65535"""
    @property
    def eeiOrOutLif(self) -> int:
        """U32, 0 to 16777215, dword0[56:33]. 24 bits that outLifValue and outLifValidBit name in part. The encoder writes those two and drops the rest"""
    @property
    def outLifValue(self) -> int:
        """U32, 0 to 65535, dword0[48:33]. The outgoing LIF, 0 to 65535: the low 16 bits of eeiOrOutLif"""
    @property
    def outLifValidBit(self) -> int:
        """U8, 0 to 1, dword0[49]. Row field outLifValidBit, 0 or 1: the 17th bit of eeiOrOutLif"""
    @property
    def destinationLo(self) -> int:
        """U32, 0 to 127, dword0[63:57]. The low 7 bits of destination"""
    @property
    def destinationHi(self) -> int:
        """U16, 0 to 4095, dword1[11:0]. The high 12 bits of destination"""
    @property
    def destinationValid(self) -> int:
        """U8, 0 to 1, dword1[12]. Row field destinationValid, 0 or 1. Only chips 3 and 4 have it; the others drop it"""
    @property
    def eeiOrOutLifType(self) -> int:
        """U8, 0 to 1, dword1[13]. Row field eeiOrOutLifType, 0 or 1"""
    @property
    def vsiAssignmentMode(self) -> int:
        """U8, 0 to 3, dword1[15:14]. Row field vsiAssignmentMode, 0 to 3"""
    @property
    def oamLifSet(self) -> int:
        """U8, 0 to 1, dword1[16]. Row field oamLifSet, 0 or 1"""
    @property
    def protectionPath(self) -> int:
        """U8, 0 to 1, dword1[17]. Row field protectionPath, 0 or 1"""
    @property
    def protectionPointer(self) -> int:
        """U16, 0 to 16383, dword1[31:18]. Row field protectionPointer, 0 to 16383"""
    @property
    def terminationProfileMsb(self) -> int:
        """U8, 0 to 1, dword1[32]. The high bit of terminationProfile"""
    @property
    def type(self) -> int:
        """U8, 0 to 3, dword1[34:33]. Row field type as it is stored. The encoder never reads it; it writes labelPweP2p, 0"""

class EedbAcConstants(Value):
    """Where the out-AC indexes of a chip family begin"""
    def __init__(self) -> None: ...
    aradAcStartIndex: int
    jerichoAcStartIndex: int

class EedbFormat(Enumeration):
    """What a row of the EEDB holds"""
    invalid = 0  # Nothing that is known
    mpls = 1  # An MPLS entry
    arp = 2  # An ARP entry
    data = 3  # A data entry
    ac = 4  # Two out-ACs, an OutAcValue
    trill = 5  # A TRILL entry; no row is told to be one
    rif = 6  # A router interface entry; no row is told to be one

class EedbValue(Value):
    """The image of one EEDB row: its first 96 bits, in the layout of chip 3"""
    def __init__(self, word0: int = ..., word1: int = ..., word2: int = ...) -> None: ...
    @property
    def word0(self) -> int:
        """U32, 0 to 4294967295, 0 unless given. Row bits 0 to 31"""
    @property
    def word1(self) -> int:
        """U32, 0 to 4294967295, 0 unless given. Row bits 32 to 63"""
    @property
    def word2(self) -> int:
        """U32, 0 to 4294967295, 0 unless given. Row bits 64 to 95; bits 10 to 13 of this word tell the format"""

class EvePcpDeiSource(Enumeration):
    """Where an egress VLAN edit command takes PCP and DEI from"""
    evePcpDeiSrcEmpty = 0  # Nowhere
    evePcpDeiSrcOuterTag = 1  # The outer tag of the packet
    evePcpDeiSrcInnerTag = 2  # The inner tag of the packet
    evePcpDeiSrcMap = 3  # The map

class EveVlanIdSource(Enumeration):
    """Where an egress VLAN edit command takes a VLAN id from"""
    eveVidSrcEmpty = 0  # Nowhere
    eveVidSrcOuterTag = 1  # The outer tag of the packet
    eveVidSrcInnerTag = 2  # The inner tag of the packet
    eveVidSrcEditInfo0 = 3  # The first edit information
    eveVidSrcEditInfo1 = 4  # The second edit information
    eveVidSrcEncapInfo = 5  # The encapsulation information

class EvecAppConfig(Entity):
    """The egress VLAN edit commands that one application asks for"""
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId. The application"""
    @property
    def entry(self) -> Map[EvecKey, EvecEntry]:
        """[EvecKey]: EvecEntry, its key is the key. The command that the application wants in this slot. What is in the hardware stands in EvecStatus"""

class EvecAppConfigDir(Entity):
    """The egress VLAN edit commands that all applications ask for"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appConfig(self) -> Children[VtAppId, EvecAppConfig]:
        """[VtAppId]: EvecAppConfig. What this application asks for"""

class EvecEntry(Value):
    """A slot and the egress VLAN edit command in it"""
    def __init__(self, key: EvecKey | tuple[Any, ...] | dict[str, Any] = ..., format: EvecFormat | tuple[Any, ...] | dict[str, Any] | int = ...) -> None: ...
    @property
    def key(self) -> EvecKey:
        """EvecKey. The slot"""
    @property
    def format(self) -> EvecFormat:
        """EvecFormat. The command. Read off an attribute log it always has membershipCheckType 1"""

class EvecFormat(Value):
    """One egress VLAN edit command: how the tags of a leaving packet are rebuilt, in 19 bits"""
    def __init__(self, value: int = ..., *, nTagsToRemove: int = ..., innerPcpDeiSrc: int = ..., outerPcpDeiSrc: int = ..., innerVidSrc: int = ..., outerVidSrc: int = ..., innerTpidIdx: int = ..., outerTpidIdx: int = ..., membershipCheckType: int = ...) -> None: ...
    @property
    def value(self) -> int:
        """U32, 0 to 524287, 262144 unless given. All fields in one word, at most 0x7ffff. The default 0x40000 checks the membership and does nothing else"""
    @property
    def nTagsToRemove(self) -> int:
        """U8, 0 to 3, value[1:0]. How many tags are removed, 0 to 3"""
    @property
    def innerPcpDeiSrc(self) -> int:
        """U8, 0 to 3, value[3:2]. Where PCP and DEI of the inner tag come from, a number of EvePcpDeiSource"""
    @property
    def outerPcpDeiSrc(self) -> int:
        """U8, 0 to 3, value[5:4]. Where PCP and DEI of the outer tag come from, a number of EvePcpDeiSource"""
    @property
    def innerVidSrc(self) -> int:
        """U8, 0 to 7, value[8:6]. Where the VLAN id of the inner tag comes from, a number of EveVlanIdSource. 6 and 7 are none, and are not refused"""
    @property
    def outerVidSrc(self) -> int:
        """U8, 0 to 7, value[11:9]. Where the VLAN id of the outer tag comes from, a number of EveVlanIdSource. 6 and 7 are none, and are not refused"""
    @property
    def innerTpidIdx(self) -> int:
        """U8, 0 to 7, value[14:12]. The index of the inner tag's TPID, 0 to 7. Chips 3, 4, 5 and 7 get its low 2 bits only"""
    @property
    def outerTpidIdx(self) -> int:
        """U8, 0 to 7, value[17:15]. The index of the outer tag's TPID, 0 to 7. Chips 3, 4, 5 and 7 get its low 2 bits only"""
    @property
    def membershipCheckType(self) -> int:
        """U8, 0 to 1, value[18]. 1 in every command made from a number. Chips 8, 9 and 10 always get 1; the others have no such field"""

class EvecKey(Value):
    """A slot for an egress VLAN edit command"""
    def __init__(self, fapMask: Fapmask | str | Iterable[int] = ..., index: int = ...) -> None: ...
    @property
    def fapMask(self) -> Fapmask:
        """Fapmask. The chips that have the slot; the default is none"""
    @property
    def index(self) -> int:
        """EvecIndex, 0 to 65535, 1024 unless given. The number of the slot; the default 1024 stands for none"""

class EvecOwner(Value):
    """A slot for an egress VLAN edit command and the application that owns it"""
    def __init__(self, key: EvecKey | tuple[Any, ...] | dict[str, Any] = ..., app: VtAppId | str | int = ...) -> None: ...
    @property
    def key(self) -> EvecKey:
        """EvecKey. The slot"""
    @property
    def app(self) -> VtAppId:
        """VtAppId, vtAppNone unless given. The application that owns the slot; the default is vtAppNone"""

class EvecStatus(Entity):
    """The egress VLAN edit commands in the hardware, and who owns them"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def entry(self) -> Map[EvecKey, EvecEntry]:
        """[EvecKey]: EvecEntry, its key is the key. The command in this slot; it can be there without an owner"""
    @property
    def owner(self) -> Map[EvecKey, EvecOwner]:
        """[EvecKey]: EvecOwner, its key is the key. The application that owns this slot; it can be there without a command"""

class EvecValue(Value):
    """Two egress VLAN edit commands, as one row of Hardware::EvecTable holds them"""
    def __init__(self, word0: int = ..., *, evec0: int = ..., evec1: int = ...) -> None: ...
    @property
    def word0(self) -> int:
        """U64, 0 to 274877906943, 0 unless given. Both commands, at most 0x3fffffffff, in the row layout of chips 8, 9 and 10; the default is 0"""
    @property
    def evec0(self) -> int:
        """U32, 0 to 524287, word0[18:0]. The 19 bits of the first command, as they are stored"""
    @property
    def evec1(self) -> int:
        """U32, 0 to 524287, word0[37:19]. The 19 bits of the second command, as they are stored"""

class FapType(Enumeration):
    """The family of a forwarding chip"""
    fapTypeOther = 1  # Any other family; it has no tables
    fapTypeArad = 3  # The Arad family
    fapTypeJericho = 4  # The Jericho family

class FapTypeProperties(Entity):
    """What each chip family has of each resource. It is complete when its constructor returns"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def properties(self) -> References[FapType, FapTypeProperties_Properties]:
        """[FapType]: FapTypeProperties_Properties, which live elsewhere. The sizes and the arithmetic of this family; the Arad and the Jericho family have one"""
    @property
    def initialized(self) -> bool:
        """bool, 0 at first. Whether both families are there; handleInitialized sets it at its end"""
    @initialized.setter
    def initialized(self, value: bool) -> None: ...

class FapTypeProperties_AradProperties(Entity):
    """The sizes and the arithmetic of the Arad family, which fills a bank in order"""
    def __init__(self, argument: FapType | str | int) -> None: ...
    @property
    def fapType(self) -> FapType:
        """FapType. The family"""
    @property
    def isemHwSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first. The hardware size of the ISEM: 32768 on Arad, 65536 on Jericho"""
    @isemHwSize.setter
    def isemHwSize(self, value: int) -> None: ...
    @property
    def esemHwSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first. The hardware size of the ESEM: 16384 on Arad, 65536 on Jericho"""
    @esemHwSize.setter
    def esemHwSize(self, value: int) -> None: ...
    @property
    def evecProfileSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first. The size of the egress edit-vector profile: 4 on Arad, 5 on Jericho"""
    @evecProfileSize.setter
    def evecProfileSize(self, value: int) -> None: ...
    @property
    def lifEntriesPerBank(self) -> int:
        """U32, 0 to 4294967295, 0 at first. LIF entries in one bank: 16384 on Arad, 32768 on Jericho"""
    @lifEntriesPerBank.setter
    def lifEntriesPerBank(self, value: int) -> None: ...
    @property
    def tcamEntriesPerBank(self) -> int:
        """U32, 0 to 4294967295, 0 at first. TCAM entries in one bank: MAX_ARAD_TCAM_ENTRIES or else 1024, MAX_JERICHO_TCAM_ENTRIES or else 2048"""
    @tcamEntriesPerBank.setter
    def tcamEntriesPerBank(self, value: int) -> None: ...

class FapTypeProperties_JerichoProperties(Entity):
    """The sizes and the arithmetic of the Jericho family, which spreads neighbouring indexes over the two banks of a pair"""
    def __init__(self, argument: FapType | str | int) -> None: ...
    @property
    def fapType(self) -> FapType:
        """FapType. The family"""
    @property
    def isemHwSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first. The hardware size of the ISEM: 32768 on Arad, 65536 on Jericho"""
    @isemHwSize.setter
    def isemHwSize(self, value: int) -> None: ...
    @property
    def esemHwSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first. The hardware size of the ESEM: 16384 on Arad, 65536 on Jericho"""
    @esemHwSize.setter
    def esemHwSize(self, value: int) -> None: ...
    @property
    def evecProfileSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first. The size of the egress edit-vector profile: 4 on Arad, 5 on Jericho"""
    @evecProfileSize.setter
    def evecProfileSize(self, value: int) -> None: ...
    @property
    def lifEntriesPerBank(self) -> int:
        """U32, 0 to 4294967295, 0 at first. LIF entries in one bank: 16384 on Arad, 32768 on Jericho"""
    @lifEntriesPerBank.setter
    def lifEntriesPerBank(self, value: int) -> None: ...
    @property
    def tcamEntriesPerBank(self) -> int:
        """U32, 0 to 4294967295, 0 at first. TCAM entries in one bank: MAX_ARAD_TCAM_ENTRIES or else 1024, MAX_JERICHO_TCAM_ENTRIES or else 2048"""
    @tcamEntriesPerBank.setter
    def tcamEntriesPerBank(self, value: int) -> None: ...

class FapTypeProperties_Properties(Entity):
    """The sizes of one chip family, all 0 until they are set, and an arithmetic that answers 0"""
    def __init__(self, argument: FapType | str | int) -> None: ...
    @property
    def fapType(self) -> FapType:
        """FapType. The family"""
    @property
    def isemHwSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first. The hardware size of the ISEM: 32768 on Arad, 65536 on Jericho"""
    @isemHwSize.setter
    def isemHwSize(self, value: int) -> None: ...
    @property
    def esemHwSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first. The hardware size of the ESEM: 16384 on Arad, 65536 on Jericho"""
    @esemHwSize.setter
    def esemHwSize(self, value: int) -> None: ...
    @property
    def evecProfileSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first. The size of the egress edit-vector profile: 4 on Arad, 5 on Jericho"""
    @evecProfileSize.setter
    def evecProfileSize(self, value: int) -> None: ...
    @property
    def lifEntriesPerBank(self) -> int:
        """U32, 0 to 4294967295, 0 at first. LIF entries in one bank: 16384 on Arad, 32768 on Jericho"""
    @lifEntriesPerBank.setter
    def lifEntriesPerBank(self, value: int) -> None: ...
    @property
    def tcamEntriesPerBank(self) -> int:
        """U32, 0 to 4294967295, 0 at first. TCAM entries in one bank: MAX_ARAD_TCAM_ENTRIES or else 1024, MAX_JERICHO_TCAM_ENTRIES or else 2048"""
    @tcamEntriesPerBank.setter
    def tcamEntriesPerBank(self, value: int) -> None: ...

class HwIvecs(Entity):
    """The ingress VLAN edit commands in the hardware, for all applications together"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def hwIvec(self) -> Map[AradIvecKey, AradIvecEntry]:
        """[AradIvecKey]: AradIvecEntry. The command in this slot. Nothing compares the slot with the entry's own key: give the same one twice"""

class IveProfile(Enumeration):
    """The profile of an interface, which with the tags of a packet chooses the ingress VLAN edit command"""
    iveProfile0 = 0  # Profile 0
    iveProfile1 = 1  # Profile 1
    iveProfile2 = 2  # Profile 2
    iveProfile3 = 3  # Profile 3
    iveProfile4 = 4  # Profile 4
    iveProfile5 = 5  # Profile 5
    iveProfile6 = 6  # Profile 6
    iveProfile7 = 7  # Profile 7

class IveVlanIdSource(Enumeration):
    """Where an ingress VLAN edit command takes a VLAN id from; there is no number 1"""
    iveVidSrcEmpty = 0  # Nowhere
    iveVidSrcAcEditInfo = 2  # The first edit information of the AC
    iveVidSrcAcEditInfo2 = 3  # The second edit information of the AC
    iveVidSrcOuterTag = 4  # The outer tag of the packet
    iveVidSrcInnterTag = 5  # The inner tag of the packet

class IveVlanPcpDeiSource(Enumeration):
    """Where an ingress VLAN edit command takes PCP and DEI from; there is no number 1"""
    ivePcpDeiSrcEmpty = 0  # Nowhere
    ivePcpDeiSrcAcEditInfo = 2  # The first edit information of the AC
    ivePcpDeiSrcAcEditInfo2 = 3  # The second edit information of the AC
    ivePcpDeiSrcOuterTag = 4  # The outer tag of the packet
    ivePcpDeiSrcInnterTag = 5  # The inner tag of the packet

class IvecAppConfig(Entity):
    """The ingress VLAN edit commands that one application asks for"""
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId. The application"""
    @property
    def entry(self) -> Map[AradIvecKey, AradIvecEntry]:
        """[AradIvecKey]: AradIvecEntry, its key is the key. The command that the application wants in this slot"""

class IvecAppConfigDir(Entity):
    """The ingress VLAN edit commands that all applications ask for"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appConfig(self) -> Children[VtAppId, IvecAppConfig]:
        """[VtAppId]: IvecAppConfig. What this application asks for"""

class IvecAppStatus(Entity):
    """The ingress VLAN edit commands that one application has got"""
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId. The application"""
    @property
    def status(self) -> Map[AradIvecKey, AradIvecEntry]:
        """[AradIvecKey]: AradIvecEntry, its key is the key. The command that the application has got in this slot"""

class IvecAppStatusDir(Entity):
    """The ingress VLAN edit commands that all applications have got"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appStatus(self) -> Children[VtAppId, IvecAppStatus]:
        """[VtAppId]: IvecAppStatus. What this application has got"""

class IvectAppConfig(Entity):
    """Which ingress VLAN edit commands one application wants, by interface profile and tag format"""
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId. The application"""
    @property
    def config(self) -> Map[AradIhpIvectIndex, AradIvecIndex]:
        """[AradIhpIvectIndex]: AradIvecIndex. The index of the command that packets of this profile and tag format are to get"""

class IvectAppConfigDir(Entity):
    """Which ingress VLAN edit commands all applications want, by interface profile and tag format"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appConfig(self) -> Children[VtAppId, IvectAppConfig]:
        """[VtAppId]: IvectAppConfig. What this application wants"""

class IvectAppStatus(Entity):
    """Which ingress VLAN edit commands one application has got, by interface profile and tag format"""
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId. The application"""
    @property
    def status(self) -> Map[AradIhpIvectIndex, AradIvecIndex]:
        """[AradIhpIvectIndex]: AradIvecIndex. The index of the command that packets of this profile and tag format get"""

class IvectAppStatusDir(Entity):
    """Which ingress VLAN edit commands all applications have got, by interface profile and tag format"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appStatus(self) -> Children[VtAppId, IvectAppStatus]:
        """[VtAppId]: IvectAppStatus. What this application has got"""

class LifAppConfig(Entity):
    """The logical interfaces (LIFs) that one application asks for"""
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId. The application"""
    @property
    def reqCount(self) -> Map[AradLifEntry, int]:
        """[AradLifEntry]: U32, 0 to 4294967295. How often the application asks for this LIF. It stays at 0 until reqCountDel ends the request"""

class LifAppConfigDir(Entity):
    """The logical interfaces (LIFs) that all applications ask for"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appConfig(self) -> Children[VtAppId, LifAppConfig]:
        """[VtAppId]: LifAppConfig. What this application asks for"""

class LifAppStatus(Entity):
    """The logical interfaces (LIFs) that one application has got"""
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId. The application"""
    @property
    def lifEntry(self) -> Map[AradLifEntry, AradLifIndex]:
        """[AradLifEntry]: AradLifIndex. Where this LIF lies; absent reads as the null index"""

class LifAppStatusDir(Entity):
    """The logical interfaces (LIFs) that all applications have got"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appStatus(self) -> Children[VtAppId, LifAppStatus]:
        """[VtAppId]: LifAppStatus. What this application has got"""

class LifType(Enumeration):
    """What a LIF entry describes"""
    lifGeneral = 0  # Nothing in particular; it cannot be written to a chip
    lifAcP2pToAc = 1  # An attachment circuit that is cross-connected to another; view AradLifAcP2pToAc
    lifAcP2pToPwe = 2  # An attachment circuit that is cross-connected to a pseudowire; view AradLifAcP2pToPwe
    lifAcP2pToPbb = 3  # An attachment circuit that is cross-connected to PBB; it cannot be written to a chip
    lifAcMp = 4  # An attachment circuit of a bridge domain; view AradLifAcMp
    lifIsidP2p = 5  # An ISID that is cross-connected; it cannot be written to a chip
    lifIsidMp = 6  # An ISID of a bridge domain; it cannot be written to a chip
    lifLpTt = 7  # The kind LpTt of the chip; it cannot be written to a chip
    lifTrill = 8  # The kind TRILL of the chip; it cannot be written to a chip
    lifLabelPweP2p = 9  # A pseudowire label that ends in a cross-connect; view AradLifPweToP2p
    lifLabelPweMp = 10  # A pseudowire label of a bridge domain; it cannot be written to a chip
    lifLabelProtocolOrLsp = 11  # The label of a protocol or of a label-switched path; view AradLifLabelProtocolOrLsp

class LoamTunnelCommonSmData(Entity):
    """The state-machine data of the drivers of tunnels and VLAN edits. It adds nothing to that of all drivers"""
    def __init__(self, argument: str | None = None) -> None: ...

class OutAcAppConfig(Entity):
    """The out-ACs that one application asks for"""
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId. The application"""
    @property
    def reqCount(self) -> Map[OutAcKey, int]:
        """[OutAcKey]: U32, 0 to 4294967295. How often the application asks for this out-AC. It stays at 0 until reqCountDel ends the request"""

class OutAcAppConfigDir(Entity):
    """The out-ACs that all applications ask for"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appConfig(self) -> Children[VtAppId, OutAcAppConfig]:
        """[VtAppId]: OutAcAppConfig. What this application asks for"""

class OutAcAppStatus(Entity):
    """The out-ACs that one application has got"""
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId. The application"""
    @property
    def acEntry(self) -> Map[OutAcKey, OutAcEntry]:
        """[OutAcKey]: OutAcEntry, its acKey is the key. The out-AC of this key and its index, for this application; absent until it has one"""

class OutAcAppStatusDir(Entity):
    """The out-ACs that all applications have got"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appStatus(self) -> Children[VtAppId, OutAcAppStatus]:
        """[VtAppId]: OutAcAppStatus. What this application has got"""

class OutAcConfig(Entity):
    """Who asks for each out-AC, over all applications"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def acRequest(self) -> Children[OutAcKey, OutAcRequest]:
        """[OutAcKey]: OutAcRequest. The applications that ask for this out-AC. It stays until it is deleted, also when none is left"""

class OutAcEntry(Value):
    """An out-AC and the index that it was given"""
    def __init__(self, acKey: OutAcKey | tuple[Any, ...] | dict[str, Any] = ..., acIndex: int = ...) -> None: ...
    @property
    def acKey(self) -> OutAcKey:
        """OutAcKey. Which out-AC, and on which chips"""
    @property
    def acIndex(self) -> int:
        """OutAcIndex, 0 to 65535, 65535 unless given. The index that the out-AC was given; the default 65535 stands for none"""

class OutAcFormat(Value):
    """One out-AC: how a leaving packet is edited, in 37 bits"""
    def __init__(self, value: int = ..., *, pcpDeiProfile: int = ..., vid1: int = ..., vid2: int = ..., vlanEditProfile: int = ..., oamLifSet: int = ..., drop: int = ..., format: int = ..., unused: int = ...) -> None: ...
    @property
    def value(self) -> int:
        """U64, 0 to 18446744073709551615, 0 unless given. All fields in one word; the default 0 has every field 0"""
    @property
    def pcpDeiProfile(self) -> int:
        """U8, 0 to 15, value[3:0]. The profile for PCP and DEI, 0 to 15"""
    @property
    def vid1(self) -> int:
        """U16, 0 to 4095, value[15:4]. The first VLAN id of the edit, 12 bits"""
    @property
    def vid2(self) -> int:
        """U16, 0 to 4095, value[27:16]. The second VLAN id of the edit, 12 bits"""
    @property
    def vlanEditProfile(self) -> int:
        """U8, 0 to 15, value[31:28]. The VLAN edit profile, 0 to 15"""
    @property
    def oamLifSet(self) -> bool:
        """bool, value[32]. Row field ac0ActionOamLifSet or ac1ActionOamLifSet, 0 or 1"""
    @property
    def drop(self) -> bool:
        """bool, value[33]. Row field ac0ActionDrop or ac1ActionDrop, 0 or 1"""
    @property
    def format(self) -> int:
        """U8, 0 to 7, value[36:34]. The entry format, 0 to 7. Chip 4 requires it below 4, chips 5 and 7 so for AC 0. Chips 8, 9 and 10 drop it"""
    @property
    def unused(self) -> int:
        """U32, 0 to 134217727, value[63:37]. Belongs to no field. It counts in comparison and hash; an OutAcValue drops it"""

class OutAcKey(Value):
    """Which out-AC, and on which chips"""
    def __init__(self, fapMask: Fapmask | str | Iterable[int] = ..., acFormat: OutAcFormat | tuple[Any, ...] | dict[str, Any] | int = ...) -> None: ...
    @property
    def fapMask(self) -> Fapmask:
        """Fapmask. The chips; the default is none"""
    @property
    def acFormat(self) -> OutAcFormat:
        """OutAcFormat. What the out-AC does to a packet"""

class OutAcRequest(Entity):
    """Which applications ask for one out-AC"""
    def __init__(self, argument: OutAcKey | tuple[Any, ...] | dict[str, Any]) -> None: ...
    @property
    def acKey(self) -> OutAcKey:
        """OutAcKey. Which out-AC, and on which chips"""
    @property
    def reqCount(self) -> Map[VtAppId, int]:
        """[VtAppId]: U32, 0 to 4294967295. How often this application asks for the out-AC. It stays at 0 until reqCountDel takes it out"""

class OutAcStatus(Entity):
    """The out-ACs that are there, for all applications together"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def acEntry(self) -> Map[OutAcKey, OutAcEntry]:
        """[OutAcKey]: OutAcEntry, its acKey is the key. The out-AC of this key and its index; absent until it has one"""

class OutAcValue(EedbValue):
    """The image of an EEDB row of AC format. It holds two out-ACs: AC 0 in row bits 0 to 36, AC 1 in row bits 37 to 73"""
    def __init__(self, word0: int = ..., word1: int = ..., word2: int = ..., *, acEntryFormat: int = ..., ac1EntryFormat: int = ..., ac0EntryFormat: int = ..., ac0_0_31: int = ..., ac0_32_36: int = ..., ac1_0_26: int = ..., ac1_27_36: int = ...) -> None: ...
    @property
    def acEntryFormat(self) -> int:
        """U8, 0 to 15, word2[13:10]. The format of the whole entry, row bits 74 to 77. The encoder does not read it; it writes 0"""
    @property
    def ac1EntryFormat(self) -> int:
        """U8, 0 to 7, word2[9:7]. The field format of AC 1; its bits are part of ac1_27_36"""
    @property
    def ac0EntryFormat(self) -> int:
        """U8, 0 to 7, word1[4:2]. The field format of AC 0; its bits are part of ac0_32_36"""
    @property
    def ac0_0_31(self) -> int:
        """U32, 0 to 4294967295, word0[31:0]. Bits 0 to 31 of AC 0"""
    @property
    def ac0_32_36(self) -> int:
        """U32, 0 to 31, word1[4:0]. Bits 32 to 36 of AC 0"""
    @property
    def ac1_0_26(self) -> int:
        """U32, 0 to 134217727, word1[31:5]. Bits 0 to 26 of AC 1"""
    @property
    def ac1_27_36(self) -> int:
        """U32, 0 to 1023, word2[9:0]. Bits 27 to 36 of AC 1"""

class TableAddStatus(Enumeration):
    """What became of an entry that a hardware table was to take"""
    tableAddNone = 0  # Nobody has asked for it
    tableAddPending = 1  # It has been asked for and is not there yet
    tableAddSuccess = 2  # It is in the table
    tableAddTableFull = 3  # The table had no room
    tableAddFailed = 4  # The table refused it for another reason

class TagPopPushConfig(Entity):
    """Which applications want tags popped and pushed"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def app(self) -> Map[VtAppId, bool]:
        """[VtAppId]: bool. Whether this application wants it; absent reads as false, and so does a stored false"""

class TagPopPushStatus(Entity):
    """Whether tags are popped and pushed"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def enabled(self) -> bool:
        """bool, 0 at first. On or off for all applications together; the default is off"""
    @enabled.setter
    def enabled(self, value: bool) -> None: ...

class TapAggNormalFapMask(Entity):
    """The chips on which tap aggregation runs in its normal mode"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def fapMask(self) -> Fapmask:
        """Fapmask. The chips; the default is none"""
    @fapMask.setter
    def fapMask(self, value: Fapmask | str | Iterable[int]) -> None: ...

class TcamSharingConfig(Entity):
    """Which policies are wanted on which interface"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def request(self) -> Map[TcamSharingRequest, TcamSharingPolicyId]:
        """[TcamSharingRequest]: TcamSharingPolicyId. The policies that are wanted for this interface and chip; absent reads as 0, none"""

class TcamSharingEntry(Value):
    """A request and the policies that it stands for"""
    def __init__(self, request: TcamSharingRequest | tuple[Any, ...] | dict[str, Any] = ..., policyId: TcamSharingPolicyId | tuple[Any, ...] | dict[str, Any] | int = ...) -> None: ...
    @property
    def request(self) -> TcamSharingRequest:
        """TcamSharingRequest. The interface and the chip"""
    @property
    def policyId(self) -> TcamSharingPolicyId:
        """TcamSharingPolicyId. The policies"""

class TcamSharingPendingRequest(Value):
    """An entry that waits to be put in, or taken out"""
    def __init__(self, entry: TcamSharingEntry | tuple[Any, ...] | dict[str, Any] = ..., insert: bool = ...) -> None: ...
    @property
    def entry(self) -> TcamSharingEntry:
        """TcamSharingEntry. The request and its policies"""
    @property
    def insert(self) -> bool:
        """bool, 0 unless given. True where the entry is to be put in; the default is false"""

class TcamSharingPolicyId(Value):
    """A set of policy numbers in one word"""
    def __init__(self, value: int = ..., *, qosPolicy: int = ..., pbrPolicy: int = ..., ipv4Policy: int = ..., ipv6Policy: int = ..., ipv6PolicyValid: int = ..., ipv6EgressPolicy: int = ..., haloAclLabel: int = ...) -> None: ...
    @property
    def value(self) -> int:
        """U32, 0 to 4294967295, 0 unless given. All policy numbers; the default 0 has none. Bits 27 to 31 belong to no field"""
    null: int
    @property
    def qosPolicy(self) -> int:
        """U8, 0 to 31, value[4:0]. The number of the QoS policy, 0 to 31"""
    @property
    def pbrPolicy(self) -> int:
        """U8, 0 to 31, value[9:5]. The number of the policy-based routing policy, 0 to 31"""
    @property
    def ipv4Policy(self) -> int:
        """U8, 0 to 31, value[14:10]. The number of the IPv4 policy, 0 to 31"""
    @property
    def ipv6Policy(self) -> int:
        """U8, 0 to 1, value[15]. The number of the IPv6 policy, 0 or 1"""
    @property
    def ipv6PolicyValid(self) -> int:
        """U8, 0 to 1, value[16]. 1 where ipv6Policy counts"""
    @property
    def ipv6EgressPolicy(self) -> int:
        """U16, 0 to 1023, value[26:17]. The number of the IPv6 egress policy, 0 to 1023. Setting it changes haloAclLabel"""
    @property
    def haloAclLabel(self) -> int:
        """U8, 0 to 127, value[23:17]. The label of the halo ACL, 0 to 127: the low 7 bits of ipv6EgressPolicy. Setting either changes the other"""

class TcamSharingRequest(Value):
    """An interface on a chip for which policies are to go into the TCAM"""
    def __init__(self, intfId: Interface | str | int = ..., fapId: int = ..., l3FloodPortVlanId: int = ...) -> None: ...
    @property
    def intfId(self) -> Interface:
        """IntfId, 0 to 18446744073709551615. The interface; the default is the empty one"""
    @property
    def fapId(self) -> int:
        """FapId, 0 to 2048, 2048 unless given. The chip, 0 to 2047; the default 2048 stands for none"""
    @property
    def l3FloodPortVlanId(self) -> int:
        """VlanIdOrNone, 0 to 4094, 0 unless given. The L3 flood VLAN of the interface, up to 4094; the default 0 stands for none. It does not enter the hash"""

class TcamSharingResponse(Value):
    """What became of a request"""
    def __init__(self, result: TcamSharingResult | str | int = ..., policyId: TcamSharingPolicyId | tuple[Any, ...] | dict[str, Any] | int = ...) -> None: ...
    @property
    def result(self) -> TcamSharingResult:
        """TcamSharingResult, tcamSharingInsertDefault unless given. Whether the policies went in; the default tcamSharingInsertDefault is no answer"""
    @property
    def policyId(self) -> TcamSharingPolicyId:
        """TcamSharingPolicyId. The policies of the answer; the default 0 has none"""

class TcamSharingResult(Enumeration):
    """What became of a request for TCAM sharing"""
    tcamSharingInsertDefault = 0  # There is no answer yet
    tcamSharingInsertSuccess = 1  # The policies are in
    tcamSharingInsertFailure = 2  # The policies could not be put in

class TcamSharingStatus(Entity):
    """What became of the policies that are wanted on interfaces"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def response(self) -> Map[TcamSharingRequest, TcamSharingResponse]:
        """[TcamSharingRequest]: TcamSharingResponse. The answer to the request with this key; absent reads as tcamSharingInsertDefault"""

class TcamSharingVlanIdOrDomainResponse(Value):
    """A VLAN id or domain number that was asked for"""
    def __init__(self, value: int = ..., success: bool = ...) -> None: ...
    @property
    def value(self) -> int:
        """U16, 0 to 65535, 0 unless given. The number; the default is 0"""
    @property
    def success(self) -> bool:
        """bool, 0 unless given. Whether the number was given; the default is false"""

class TpidRewriteStatus(Entity):
    """Whether tag protocol identifiers (TPIDs) are rewritten"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def enabled(self) -> bool:
        """bool, 0 at first. On or off; the default is off"""
    @enabled.setter
    def enabled(self, value: bool) -> None: ...

class TpidVtAppConfig(Entity):
    """The tag protocol identifiers (TPIDs) that one application wants on interfaces"""
    def __init__(self, argument: str | None = None) -> None: ...

class TpidVtAppConfigDir(Entity):
    """The tag protocol identifiers (TPIDs) that all applications want on interfaces"""
    def __init__(self, argument: str | None = None) -> None: ...

class TpidVtAppConfigEntry(Value):
    """The tag protocol identifier (TPID) that an application wants on an interface"""
    def __init__(self, intf: Interface | str | int = ..., intfTpid: int = ..., intfTpidIndex: int = ...) -> None: ...
    @property
    def intf(self) -> Interface:
        """IntfId, 0 to 18446744073709551615. The interface; the default is the empty one"""
    @property
    def intfTpid(self) -> int:
        """IntfTpid, 0 to 65535, 33024 unless given. The TPID, 16 bits; the default is 0x8100"""
    @property
    def intfTpidIndex(self) -> int:
        """IntfTpidIndex, 0 to 255, 4 unless given. The chip's index of the TPID, 8 bits; the default 4 stands for none"""

class TunnelKey(Value):
    """A tunnel: its type, its two ends, and a number within them"""
    def __init__(self, tunnelType: TunnelType | str | int = ..., source: IPv4Address | str | int = ..., destinationAddr: IPv4Address | str | int = ..., idHigh: int = ..., idLow: int = ...) -> None: ...
    @property
    def tunnelType(self) -> TunnelType:
        """TunnelType, tunnelTypeNone unless given. The kind of tunnel; the default is tunnelTypeNone"""
    @property
    def source(self) -> IPv4Address:
        """IpAddr, 0.0.0.0 unless given. The address that the tunnel begins at"""
    @property
    def destinationAddr(self) -> IPv4Address:
        """IpAddr, 0.0.0.0 unless given. The address that the tunnel ends at"""
    @property
    def idHigh(self) -> int:
        """U32, 0 to 4294967295, 0 unless given. The high 32 bits of the number within the two ends"""
    @property
    def idLow(self) -> int:
        """U32, 0 to 4294967295, 0 unless given. The low 32 bits of the number within the two ends"""

class TunnelTerminationConfig(Entity):
    """Which tunnels are to end on this switch"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def config(self) -> Map[TunnelTerminationEntry, bool]:
        """[TunnelTerminationEntry]: bool. Whether this tunnel is to end here; absent reads as false"""

class TunnelTerminationEntry(Value):
    """A tunnel that ends on this switch"""
    def __init__(self, tunnelType: TunnelType | str | int = ..., terminatingIpAddr: IPv4Address | str | int = ...) -> None: ...
    @property
    def tunnelType(self) -> TunnelType:
        """TunnelType, tunnelTypeNone unless given. The kind of tunnel; the default is tunnelTypeNone"""
    @property
    def terminatingIpAddr(self) -> IPv4Address:
        """IpAddr, 0.0.0.0 unless given. The IP address at which the tunnel ends; the default is 0.0.0.0"""

class TunnelTerminationStatus(Entity):
    """What became of the tunnels that are to end on this switch"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def status(self) -> Map[TunnelTerminationEntry, TableAddStatus]:
        """[TunnelTerminationEntry]: TableAddStatus. Whether the hardware table took this tunnel; absent reads as tableAddNone"""

class TunnelType(Enumeration):
    """The kind of a tunnel"""
    tunnelTypeNone = 0  # No tunnel
    tunnelTypeIpInIp = 1  # IP in IP
    tunnelTypeGre = 2  # GRE
    tunnelTypeVxlan = 3  # VXLAN
    tunnelTypeNvgre = 4  # NVGRE
    tunnelTypeGeneve = 5  # Geneve
    tunnelTypeMplsOverGre = 6  # MPLS over GRE

class VcableTpidVtConfigEntry(Value):
    """Which of the chip's tag protocol identifiers (TPIDs) an interface uses"""
    def __init__(self, intf: Interface | str | int = ..., intfTpidIndex: int = ...) -> None: ...
    @property
    def intf(self) -> Interface:
        """IntfId, 0 to 18446744073709551615. The interface; the default is the empty one"""
    @property
    def intfTpidIndex(self) -> int:
        """IntfTpidIndex, 0 to 255, 4 unless given. The chip's index of the TPID, 8 bits; the default 4 stands for none"""

class VlanTagFormat(Enumeration):
    """The tags of a packet, the outer one first; a priority tag has the VLAN id 0"""
    vlanTagNone = 0  # No tag
    vlanTagPriority = 1  # A priority tag alone
    vlanTagC = 2  # A C-tag alone
    vlanTagS = 3  # An S-tag alone
    vlanTagNoneNone = 4  # Outer: no tag; inner: no tag
    vlanTagPriorityPriority = 5  # Outer: a priority tag; inner: a priority tag
    vlanTagPriorityC = 6  # Outer: a priority tag; inner: a C-tag
    vlanTagPriorityS = 7  # Outer: a priority tag; inner: an S-tag
    vlanTagCNone = 8  # Outer: a C-tag; inner: no tag
    vlanTagCPriority = 9  # Outer: a C-tag; inner: a priority tag
    vlanTagCC = 10  # Outer: a C-tag; inner: a C-tag
    vlanTagCS = 11  # Outer: a C-tag; inner: an S-tag
    vlanTagSNone = 12  # Outer: an S-tag; inner: no tag
    vlanTagSPriority = 13  # Outer: an S-tag; inner: a priority tag
    vlanTagSC = 14  # Outer: an S-tag; inner: a C-tag
    vlanTagSS = 15  # Outer: an S-tag; inner: an S-tag

class VtAppId(Enumeration):
    """The application of the driver stack that asks for tunnel and VLAN edit resources of the chip"""
    vtAppNone = 0  # No application
    vtAppBridging = 1  # Bridging
    vtAppRouting = 2  # Routing
    vtAppSubinterface = 3  # Subinterfaces
    vtAppVlanTranslation = 4  # Translation of VLAN ids
    vtAppDot1qTunnel = 5  # 802.1Q tunnels
    vtAppVxlan = 6  # VXLAN tunnels
    vtAppMpls = 7  # MPLS
    vtAppPseudowire = 8  # Pseudowires
    vtAppEvpn = 9  # Ethernet VPN
    vtAppMulticast = 10  # Multicast
    vtAppMirroring = 11  # Mirror sessions
    vtAppTapAggregation = 12  # Tap aggregation

class VtepToNhIdMapConfig(Entity):
    """Which next hop each remote tunnel end (VTEP) is to have"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def config(self) -> Map[TunnelKey, int]:
        """[TunnelKey]: FenNextHopId, 0 to 4294967295. The next hop that this tunnel is to have; absent reads as 0xffffffff, none"""

class VtepToNhIdMapStatus(Entity):
    """Which next hop each remote tunnel end (VTEP) has got"""
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def status(self) -> Map[TunnelKey, VtepToNhIdMapStatusEntry]:
        """[TunnelKey]: VtepToNhIdMapStatusEntry. The next hop that this tunnel has got, and whether the hardware table took it"""

class VtepToNhIdMapStatusEntry(Value):
    """The next hop of a remote tunnel end (VTEP), and what became of it in the hardware table"""
    def __init__(self, nhId: int = ..., addStatus: TableAddStatus | str | int = ...) -> None: ...
    @property
    def nhId(self) -> int:
        """FenNextHopId, 0 to 4294967295, 4294967295 unless given. The next hop; the default 0xffffffff stands for none"""
    @property
    def addStatus(self) -> TableAddStatus:
        """TableAddStatus, tableAddNone unless given. Whether the hardware table took the next hop; the default is tableAddNone"""

class acType(Enumeration):
    """The row field type of an attachment circuit"""
    acP2pToAc = 0  # What the encoder writes for lifAcP2pToAc
    acP2pToPwe = 1  # What the encoder writes for lifAcP2pToPwe
    acP2pToPbb = 2  # The encoder never writes it
    acMp = 3  # What the encoder writes for lifAcMp

class labelLifType(Enumeration):
    """The row field type of a label"""
    labelPweP2p = 0  # What the encoder writes for lifLabelPweP2p
    labelPweMp = 1  # The encoder never writes it
    labelPweLsp = 2  # What the encoder writes for lifLabelProtocolOrLsp
    labelPweInvalid = 3  # The encoder never writes it
